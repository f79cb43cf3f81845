#pragma once

#include <stddef.h>
#include <stdint.h>

// The board control device "/dev/zorio": everything on the board that has no standard Linux interface.
// Every user opens it read-write (openControlDevice) for its requests and closes it again.

// Requests as they go into ioctl(2). "value" arguments are passed as unsigned long; the others by address.
constexpr unsigned ZORIO_GPIO_WRITE = 0x00000001;       // value: line in bits 7..0, level in bit 8
constexpr unsigned ZORIO_GPIO_SET_OUTPUT = 0x00000003;  // value: line
constexpr unsigned ZORIO_SET_WDT_TIMEOUT = 0x00000020;  // value: timeout in the driver's unit
constexpr unsigned ZORIO_SET_MODE = 0x00000022;         // value: 0
constexpr unsigned ZORIO_RESET_PM = 0x00000052;         // value: port-multiplier group, 0x100 or 0x80
constexpr unsigned ZORIO_GET_CHIP_TEMP = 0x00000060;    // int8_t, degrees, filled by the driver
constexpr unsigned ZORIO_SET_BUZZER = 0x40014805;       // uint8_t: 1 sounds, 0 silences
constexpr unsigned ZORIO_GET_ALARM_IN = 0x40024806;     // uint16_t filled by the driver, bit i: input i + 1
constexpr unsigned ZORIO_SET_ALARM_OUT = 0x40014807;    // uint8_t, bit i: output i + 1
constexpr unsigned ZORIO_GET_BOOT_PARMS = 0x41004808;   // BootParams, filled by the driver
constexpr unsigned ZORIO_GET_CPLD_INFO = 0x40404809;    // CpldInfo, filled by the driver
constexpr unsigned ZORIO_ALARM_INIT = 0x40044812;       // uint32_t: 0
constexpr unsigned ZORIO_RS485_TX_ENABLE = 0x40044814;  // value: 1 drives the bus, 0 releases it
constexpr unsigned ZORIO_RS485_RX_ENABLE = 0x40044815;  // value: 1 listens, 0 does not
constexpr unsigned ZORIO_GET_STEP_GATE = 0x40014819;    // uint32_t: 0 lets the network and alarm steps run

// The board description that the CPLD keeps. Multi-byte fields are little-endian.
struct CpldInfo {
    uint8_t bytes[64];
};

// Where a field of the description lies; read it with cpldField.
struct CpldField {
    uint8_t offset;
    uint8_t shift;
    uint16_t mask;
};

constexpr CpldField cpldHighNibble(uint8_t offset) {
    return {offset, 4, 0x0F};
}
constexpr CpldField cpldLowNibble(uint8_t offset) {
    return {offset, 0, 0x0F};
}
constexpr CpldField cpldByte(uint8_t offset) {
    return {offset, 0, 0xFF};
}
constexpr CpldField cpldWord(uint8_t offset) {
    return {offset, 0, 0xFFFF};
}

namespace cpld {
constexpr CpldField pcbNumber = cpldWord(4);
constexpr CpldField sdramClock = cpldHighNibble(16);
constexpr CpldField memoryType = cpldLowNibble(16);
constexpr CpldField chipType = cpldHighNibble(17);
constexpr CpldField armClock = cpldLowNibble(17);
constexpr CpldField flashType = cpldHighNibble(19);
constexpr CpldField flashSize = cpldLowNibble(19);
constexpr CpldField cpldDate = cpldWord(20);
constexpr CpldField panelType = cpldHighNibble(23);
constexpr CpldField deviceType = cpldLowNibble(23);
constexpr CpldField talkback = cpldLowNibble(24);
constexpr CpldField audioInCount = cpldByte(25);
constexpr CpldField audioOutCount = cpldHighNibble(27);
constexpr CpldField mac0Mode = cpldHighNibble(29);
constexpr CpldField mac1Mode = cpldLowNibble(29);
constexpr CpldField mac1Phy = cpldByte(30);
constexpr CpldField mac0Phy = cpldByte(31);
constexpr CpldField phy1Id = cpldByte(32);
constexpr CpldField phy0Id = cpldByte(33);
constexpr CpldField sataPmChip = cpldHighNibble(34);
constexpr CpldField esataPortCount = cpldLowNibble(34);
constexpr CpldField diskPortCount = cpldByte(35);
constexpr CpldField usbCount = cpldHighNibble(37);
constexpr CpldField alarmOutCount = cpldByte(38);
constexpr CpldField alarmInCount = cpldByte(39);
constexpr CpldField cvbsOutCount = cpldHighNibble(40);
constexpr CpldField vgaOutCount = cpldHighNibble(41);
constexpr CpldField hdmiOutCount = cpldLowNibble(41);
constexpr CpldField rs485Duplex = cpldHighNibble(42);
constexpr CpldField rs232Count = cpldHighNibble(43);
constexpr CpldField rs485Count = cpldLowNibble(43);
}  // namespace cpld

// The value of one field, 0..65535; an int, for it is mostly printed with %d.
int cpldField(const CpldInfo& info, CpldField field);

// The boot parameters: the two MAC addresses stand at bytes 53 and 59, the board type code (16 bits,
// little-endian) at byte 100; nothing else is interpreted. Zero until the first getBootParams.
struct BootParams {
    uint8_t bytes[256];
};
constexpr size_t bootParamsMacOffset = 53;
constexpr size_t bootParamsBoardTypeCodeOffset = 100;
constexpr size_t macAddressBytes = 6;

extern BootParams bootParams;

// Descriptor of "/dev/zorio", or -1. Says nothing: each caller reports a failure in its own words.
int openControlDevice();

// Reads the board description into *record (zeroed first). 0, or -1 with a message on standard output and
// errno as the request left it.
int getCpldInfo(int fd, CpldInfo* record);

// Refreshes bootParams and boardConfig.rs485Present. 1 when the network and alarm steps may run, 0 when the
// gate is closed or the query failed (then with a message, and nothing changed).
int getBootParams(int fd);

// Resets the port multipliers of a group (0x100 or 0x80) after their firmware was rewritten, and says so on
// standard output. Returns 0, also where the device does not open or refuses: neither is looked at.
int resetPortMultiplier(unsigned long group);

// The board's result indicator: line 4 driven high (on non-zero) or low. Failures are not looked at.
void setIndicator(int on);
