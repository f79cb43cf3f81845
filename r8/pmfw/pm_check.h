#pragma once

#include <stdint.h>

// The checks that come before anything is written: is the chip there, does the image suit it, and is there a
// flash behind it. Chip and image are those of pmState. Messages go straight to standard output.

// The chip's internal addresses, for read39xByte.
namespace pmRegister {
constexpr uint32_t presence = 0xFC00;  // 0x8F or 0xF8 when a JMB39X answers
constexpr uint32_t revision = 0xFC03;
constexpr uint32_t bondingLow = 0xFAFC;
constexpr uint32_t bondingHigh = 0xFAFD;  // in units of 4
}  // namespace pmRegister

// The image's first bytes: 0x7B, 0x19, revision, chip ID, which the flash shows as its first word, then the
// bonding value. Its length in bytes is the sum of two little-endian 16-bit parts, at bytes 8 and 12.
constexpr uint8_t imageId0 = 0x7B;
constexpr uint8_t imageId1 = 0x19;

// Looks for the chip and takes its revision into pmState. Negative on failure, else the last request's value.
int chk39xdev();

// Takes the image's length into pmState and holds its header against chip and file; another revision only
// warns. Negative on failure, else the last request's value.
int chkbinfile();

// 1: the flash holds an image for this chip; 0: it does not, yet took and returned a probe pattern (it is
// erased now but for the pattern); negative: failure.
int chkflashsts();
