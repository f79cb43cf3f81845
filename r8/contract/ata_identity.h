#pragma once

#include <stddef.h>
#include <stdint.h>

// The ATA command IDENTIFY DEVICE and its data: 256 little-endian words. In a text field the first character
// of each pair is the word's high byte; blanks fill it up.
constexpr uint8_t ataIdentifyDevice = 0xEC;
constexpr size_t ataSectorBytes = 512;

struct AtaTextField {
    size_t offset;  // in bytes
    size_t length;
};
constexpr AtaTextField ataSerialNumber = {20, 20};     // words 10 to 19
constexpr AtaTextField ataFirmwareRevision = {46, 8};  // words 23 to 26
constexpr AtaTextField ataModelNumber = {54, 40};      // words 27 to 46

// HDIO_DRIVE_CMD's argument: command, sector number, feature and sector count, then the sector. It comes back
// with status, error and sector count in the first three.
constexpr size_t driveCommandHeaderBytes = 4;
