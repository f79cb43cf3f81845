#pragma once

#include <stddef.h>
#include <stdint.h>

// The boot parameters that the board was given at its making: the MAC addresses of both cards one behind the
// other, and the board type code (16 bits, little-endian). Nothing else is interpreted.
struct BootParams {
    uint8_t bytes[256];
};

constexpr size_t bootParamsMacOffset = 53;
constexpr size_t bootParamsBoardTypeCodeOffset = 100;
constexpr size_t macAddressBytes = 6;
