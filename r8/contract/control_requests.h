#pragma once

#include <stdint.h>

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

// The requests of the board control device "/dev/zorio", as they go into ioctl(2). The size in a code says
// nothing of the argument: the driver's authors did not keep it up.
constexpr ControlRequest controlRequests[] = {
    {0x00000001, "ZORIO_GPIO_WRITE", ArgumentKind::value, 0},          // line in bits 7..0, level in bit 8
    {0x00000003, "ZORIO_GPIO_SET_OUTPUT", ArgumentKind::value, 0},     // line
    {0x00000020, "ZORIO_SET_WDT_TIMEOUT", ArgumentKind::value, 0},     // timeout in the driver's unit
    {0x00000022, "ZORIO_SET_MODE", ArgumentKind::value, 0},            // 0
    {0x00000052, "ZORIO_RESET_PM", ArgumentKind::value, 0},            // port-multiplier group, 0x100 or 0x80
    {0x00000060, "ZORIO_GET_CHIP_TEMP", ArgumentKind::fromDriver, 1},  // int8_t, degrees Celsius
    {0x40014805, "ZORIO_SET_BUZZER", ArgumentKind::toDriver, 1},       // uint8_t: 1 sounds, 0 silences
    {0x40024806, "ZORIO_GET_ALARM_IN", ArgumentKind::fromDriver, 2},   // uint16_t, bit i: input i + 1
    {0x40014807, "ZORIO_SET_ALARM_OUT", ArgumentKind::toDriver, 1},    // uint8_t, bit i: output i + 1
    {0x41004808, "ZORIO_GET_BOOT_PARMS", ArgumentKind::fromDriver, 256},  // BootParams, see boot_record.h
    {0x40404809, "ZORIO_GET_CPLD_INFO", ArgumentKind::fromDriver, 64},    // CpldInfo, see cpld_record.h
    {0x40044812, "ZORIO_ALARM_INIT", ArgumentKind::toDriver, 4},          // uint32_t: 0
    {0x40044814, "ZORIO_RS485_TX_ENABLE", ArgumentKind::value, 0},        // 1 drives the bus, 0 releases it
    {0x40044815, "ZORIO_RS485_RX_ENABLE", ArgumentKind::value, 0},        // 1 listens, 0 does not
    {0x40014819, "ZORIO_GET_STEP_GATE", ArgumentKind::fromDriver, 4},     // uint32_t: 0 opens two steps
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

unsigned noRowInControlRequests(const char* name);  // what a compiler says of a name without a row

// The code of the request with this name.
constexpr unsigned controlCode(const char* name) {
    for (const ControlRequest& request : controlRequests) {
        if (__builtin_strcmp(request.name, name) == 0) {
            return request.code;
        }
    }
    return noRowInControlRequests(name);
}

// By name, for who asks; one without a row does not compile.
constexpr unsigned ZORIO_GPIO_WRITE = controlCode("ZORIO_GPIO_WRITE");
constexpr unsigned ZORIO_GPIO_SET_OUTPUT = controlCode("ZORIO_GPIO_SET_OUTPUT");
constexpr unsigned ZORIO_SET_WDT_TIMEOUT = controlCode("ZORIO_SET_WDT_TIMEOUT");
constexpr unsigned ZORIO_SET_MODE = controlCode("ZORIO_SET_MODE");
constexpr unsigned ZORIO_RESET_PM = controlCode("ZORIO_RESET_PM");
constexpr unsigned ZORIO_GET_CHIP_TEMP = controlCode("ZORIO_GET_CHIP_TEMP");
constexpr unsigned ZORIO_SET_BUZZER = controlCode("ZORIO_SET_BUZZER");
constexpr unsigned ZORIO_GET_ALARM_IN = controlCode("ZORIO_GET_ALARM_IN");
constexpr unsigned ZORIO_SET_ALARM_OUT = controlCode("ZORIO_SET_ALARM_OUT");
constexpr unsigned ZORIO_GET_BOOT_PARMS = controlCode("ZORIO_GET_BOOT_PARMS");
constexpr unsigned ZORIO_GET_CPLD_INFO = controlCode("ZORIO_GET_CPLD_INFO");
constexpr unsigned ZORIO_ALARM_INIT = controlCode("ZORIO_ALARM_INIT");
constexpr unsigned ZORIO_RS485_TX_ENABLE = controlCode("ZORIO_RS485_TX_ENABLE");
constexpr unsigned ZORIO_RS485_RX_ENABLE = controlCode("ZORIO_RS485_RX_ENABLE");
constexpr unsigned ZORIO_GET_STEP_GATE = controlCode("ZORIO_GET_STEP_GATE");
