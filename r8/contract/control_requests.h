#pragma once

#include <stdint.h>

// The requests of the board control device "/dev/zorio", as they go into ioctl(2). The size in a code says
// nothing of the argument: the driver's authors did not keep it up.
constexpr unsigned ZORIO_GPIO_WRITE = 0x00000001;       // line in bits 7..0, level in bit 8
constexpr unsigned ZORIO_GPIO_SET_OUTPUT = 0x00000003;  // line
constexpr unsigned ZORIO_SET_WDT_TIMEOUT = 0x00000020;  // timeout in the driver's unit
constexpr unsigned ZORIO_SET_MODE = 0x00000022;         // 0
constexpr unsigned ZORIO_RESET_PM = 0x00000052;         // port-multiplier group, 0x100 or 0x80
constexpr unsigned ZORIO_GET_CHIP_TEMP = 0x00000060;    // int8_t, degrees Celsius
constexpr unsigned ZORIO_SET_BUZZER = 0x40014805;       // uint8_t: 1 sounds, 0 silences
constexpr unsigned ZORIO_GET_ALARM_IN = 0x40024806;     // uint16_t, bit i: input i + 1
constexpr unsigned ZORIO_SET_ALARM_OUT = 0x40014807;    // uint8_t, bit i: output i + 1
constexpr unsigned ZORIO_GET_BOOT_PARMS = 0x41004808;   // BootParams, see boot_record.h
constexpr unsigned ZORIO_GET_CPLD_INFO = 0x40404809;    // CpldInfo, see cpld_record.h
constexpr unsigned ZORIO_ALARM_INIT = 0x40044812;       // uint32_t: 0
constexpr unsigned ZORIO_RS485_TX_ENABLE = 0x40044814;  // 1 drives the bus, 0 releases it
constexpr unsigned ZORIO_RS485_RX_ENABLE = 0x40044815;  // 1 listens, 0 does not
constexpr unsigned ZORIO_GET_STEP_GATE = 0x40014819;    // uint32_t: 0 lets the network and alarm steps run

// How a request's argument is passed.
enum class ArgumentKind : uint8_t {
    value,       // as it is, an unsigned long
    toDriver,    // the address of bytes that the driver reads
    fromDriver,  // the address of bytes that the driver fills
};

struct ControlRequest {
    unsigned code;
    const char* name;
    ArgumentKind argument;
    uint16_t bytes;  // at the address; 0 for a value
};

constexpr ControlRequest controlRequests[] = {
    {ZORIO_GPIO_WRITE, "ZORIO_GPIO_WRITE", ArgumentKind::value, 0},
    {ZORIO_GPIO_SET_OUTPUT, "ZORIO_GPIO_SET_OUTPUT", ArgumentKind::value, 0},
    {ZORIO_SET_WDT_TIMEOUT, "ZORIO_SET_WDT_TIMEOUT", ArgumentKind::value, 0},
    {ZORIO_SET_MODE, "ZORIO_SET_MODE", ArgumentKind::value, 0},
    {ZORIO_RESET_PM, "ZORIO_RESET_PM", ArgumentKind::value, 0},
    {ZORIO_GET_CHIP_TEMP, "ZORIO_GET_CHIP_TEMP", ArgumentKind::fromDriver, 1},
    {ZORIO_SET_BUZZER, "ZORIO_SET_BUZZER", ArgumentKind::toDriver, 1},
    {ZORIO_GET_ALARM_IN, "ZORIO_GET_ALARM_IN", ArgumentKind::fromDriver, 2},
    {ZORIO_SET_ALARM_OUT, "ZORIO_SET_ALARM_OUT", ArgumentKind::toDriver, 1},
    {ZORIO_GET_BOOT_PARMS, "ZORIO_GET_BOOT_PARMS", ArgumentKind::fromDriver, 256},
    {ZORIO_GET_CPLD_INFO, "ZORIO_GET_CPLD_INFO", ArgumentKind::fromDriver, 64},
    {ZORIO_ALARM_INIT, "ZORIO_ALARM_INIT", ArgumentKind::toDriver, 4},
    {ZORIO_RS485_TX_ENABLE, "ZORIO_RS485_TX_ENABLE", ArgumentKind::value, 0},
    {ZORIO_RS485_RX_ENABLE, "ZORIO_RS485_RX_ENABLE", ArgumentKind::value, 0},
    {ZORIO_GET_STEP_GATE, "ZORIO_GET_STEP_GATE", ArgumentKind::fromDriver, 4},
};

// The request with this code; null for any other.
constexpr const ControlRequest* findControlRequest(unsigned code) {
    for (const ControlRequest& request : controlRequests) {
        if (request.code == code) {
            return &request;
        }
    }
    return nullptr;
}
