include $(sort $(wildcard $(BR2_EXTERNAL_R8_PATH)/package/*/*.mk))
