#pragma once

#include <stddef.h>
#include <stdint.h>

#include "r8/contract/little_endian.h"

// The board description that the CPLD keeps. Multi-byte fields are little-endian.
struct CpldInfo {
    uint8_t bytes[64];
};

// Where a field of the description lies.
struct CpldField {
    uint8_t offset;  // of the field's first byte
    uint8_t shift;   // of the 16 bits that begin there
    uint16_t mask;   // of what is left then
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

// A struct, not a namespace: who lists them all can check that none is left out, see cpldFieldCount.
struct CpldFields {
    CpldField pcbNumber = cpldWord(4);
    CpldField sdramClock = cpldHighNibble(16);
    CpldField memoryType = cpldLowNibble(16);
    CpldField chipType = cpldHighNibble(17);
    CpldField armClock = cpldLowNibble(17);
    CpldField flashType = cpldHighNibble(19);
    CpldField flashSize = cpldLowNibble(19);
    CpldField cpldDate = cpldWord(20);
    CpldField panelType = cpldHighNibble(23);
    CpldField deviceType = cpldLowNibble(23);
    CpldField talkback = cpldLowNibble(24);
    CpldField audioInCount = cpldByte(25);
    CpldField audioOutCount = cpldHighNibble(27);
    CpldField mac0Mode = cpldHighNibble(29);
    CpldField mac1Mode = cpldLowNibble(29);
    CpldField mac1Phy = cpldByte(30);
    CpldField mac0Phy = cpldByte(31);
    CpldField phy1Id = cpldByte(32);
    CpldField phy0Id = cpldByte(33);
    CpldField sataPmChip = cpldHighNibble(34);
    CpldField esataPortCount = cpldLowNibble(34);
    CpldField diskPortCount = cpldByte(35);
    CpldField usbCount = cpldHighNibble(37);
    CpldField alarmOutCount = cpldByte(38);
    CpldField alarmInCount = cpldByte(39);
    CpldField cvbsOutCount = cpldHighNibble(40);
    CpldField vgaOutCount = cpldHighNibble(41);
    CpldField hdmiOutCount = cpldLowNibble(41);
    CpldField rs485Duplex = cpldHighNibble(42);
    CpldField rs232Count = cpldHighNibble(43);
    CpldField rs485Count = cpldLowNibble(43);
};
constexpr CpldFields cpld;
constexpr size_t cpldFieldCount = sizeof(CpldFields) / sizeof(CpldField);

// The value of one field, 0..65535; an int, for it is mostly printed with %d.
constexpr int cpldField(const CpldInfo& info, CpldField field) {
    return littleEndian16(info.bytes + field.offset) >> field.shift & field.mask;
}
