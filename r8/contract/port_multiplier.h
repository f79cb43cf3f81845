#pragma once

#include <stddef.h>
#include <stdint.h>

// A JMB39X SATA port multiplier and its SPI NOR flash, as the board's SATA driver hands them through: one
// record of ATA registers there and back, by a private request on the node of a disk behind the chip.

constexpr unsigned pmprwRequest = 0x197B;  // ioctl on the disk node; argument: address of the record

// The record; bytes 0 to 7 in the order of the ATA registers, 8 to 15 the second set of a 48-bit command. All
// others are 0. The driver fills data and address with what comes back.
constexpr size_t pmprwRecordBytes = 16;
namespace pmRecord {
constexpr size_t controlLow = 1;   // ctrlWord bits 7..0
constexpr size_t data = 2;         // 4 bytes, little-endian
constexpr size_t target = 6;       // targetBit + target (7 bits)
constexpr size_t command = 7;      // PmAccessMode
constexpr size_t controlHigh = 9;  // ctrlWord bits 15..8
constexpr size_t address = 10;     // 4 bytes, little-endian
constexpr uint8_t targetBit = 0x80;
}  // namespace pmRecord

enum class PmAccessMode : uint8_t {  // the record's command byte
    registerRead = 0xE4,             // READ PORT MULTIPLIER; the target is a port
    spiTransfer = 0xF7,              // the target is the number of the flash
};

// ctrlWord of each operation: SPI opcode or register selector in the low byte, transfer control in the high.
namespace pmControl {
constexpr uint16_t readRegister = 0x0084;
constexpr uint16_t writeEnable = 0x0006;
constexpr uint16_t readStatus = 0x0805;
constexpr uint16_t writeStatus = 0x0401;
constexpr uint16_t read = 0xE903;
constexpr uint16_t pageProgram = 0xE502;
constexpr uint16_t chipErase = 0x00C7;
}  // namespace pmControl

constexpr uint8_t pmControlPort = 15;
constexpr uint8_t pmChipId = 0x32;

// The chip's internal addresses.
namespace pmRegister {
constexpr uint32_t presence = 0xFC00;  // 0x8F or 0xF8 when a JMB39X answers
constexpr uint32_t revision = 0xFC03;
constexpr uint32_t bondingLow = 0xFAFC;
constexpr uint32_t bondingHigh = 0xFAFD;  // in units of 4
}  // namespace pmRegister
constexpr uint8_t pmPresence1 = 0x8F;
constexpr uint8_t pmPresence2 = 0xF8;

constexpr uint32_t flashWordBytes = 4;  // that one transfer moves; the lowest address in bits 7..0
constexpr uint8_t flashBusy = 0x01;     // status register: write in progress

// The firmware image on the board: programmed byte for byte from flash address 0, at most 131,068 bytes.
constexpr char firmwareImagePath[] = "/dav0/zor321.bin";

// Its header. The flash shows the first four bytes as its first word.
namespace imageHeader {
constexpr size_t bytes = 32;
constexpr uint8_t id0 = 0x7B;
constexpr uint8_t id1 = 0x19;
constexpr size_t revision = 2;  // offsets
constexpr size_t chipId = 3;
constexpr size_t bonding = 4;
constexpr size_t lengthPartA = 8;   // 16 bits; the image's length in bytes is the sum of both parts
constexpr size_t lengthPartB = 12;  // 16 bits
}  // namespace imageHeader
