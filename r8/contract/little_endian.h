#pragma once

#include <stdint.h>

// Numbers in the records that the board's chips, drivers and peers exchange: least significant byte first,
// whatever the machine that reads them.

constexpr uint16_t littleEndian16(const uint8_t* bytes) {
    return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

constexpr uint32_t littleEndian32(const uint8_t* bytes) {
    return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
           static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

constexpr void putLittleEndian16(uint8_t* bytes, uint16_t number) {
    bytes[0] = static_cast<uint8_t>(number);
    bytes[1] = static_cast<uint8_t>(number >> 8);
}

constexpr void putLittleEndian32(uint8_t* bytes, uint32_t number) {
    bytes[0] = static_cast<uint8_t>(number);
    bytes[1] = static_cast<uint8_t>(number >> 8);
    bytes[2] = static_cast<uint8_t>(number >> 16);
    bytes[3] = static_cast<uint8_t>(number >> 24);
}
