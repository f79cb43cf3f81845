#pragma once

#include <stddef.h>
#include <stdint.h>

// Access to a JMB39X SATA port multiplier and its SPI NOR flash. The chip is reached only through the SATA
// link: a private request of the board's SATA driver, issued on a disk behind the chip, carries one record of
// ATA registers there and back. Messages go straight to standard output, one line a level, lowest first.
//
// Results, where nothing else is said: negative on failure, else the value of the last request made.

constexpr unsigned pmprwRequest = 0x197B;  // ioctl on the disk node; argument: address of the record
constexpr size_t pmprwRecordBytes = 16;
// The record; bytes 0 to 7 in the order of the ATA registers, 8 to 15 the second set of a 48-bit command:
//   0  0               6  0x80 + target (7 bits)                   10..13  addrWord, little-endian
//   1  ctrlWord low    7  command                                  14, 15  0
//   2..5  dataWord,    8  0
//      little-endian   9  ctrlWord high
// The driver fills bytes 2..5 and 10..13 with what comes back.

enum class PmAccessMode : uint8_t {  // the record's command byte
    registerRead = 0xE4,             // READ PORT MULTIPLIER; the target is pmState.pmPort
    spiTransfer = 0xF7,              // the target is pmState.flashIndex
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
constexpr uint32_t flashWordBytes = 4;
constexpr uint32_t flashBusy = 0x01;  // status register: write in progress

// One chip is served at a time. What an operation does not set goes out as the previous one left it.
struct PmState {
    static constexpr uint8_t chipId = 0x32;
    uint16_t ctrlWord = 0;
    uint32_t dataWord = 0;  // replaced by what comes back
    uint32_t addrWord = 0;  // replaced by what comes back
    uint8_t flashIndex = 0;
    uint8_t pmPort = pmControlPort;
    uint8_t revisionId = 0;    // the chip's
    int driveFd = -1;          // disk node behind the chip, borrowed
    int imageFd = -1;          // firmware image, open during an update
    uint32_t imageLength = 0;  // bytes
};

extern PmState pmState;

// Four bytes in flash order, which is little-endian, as dataWord holds them.
inline uint32_t flashWord(const uint8_t* bytes) {
    return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
           static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

// Ends an operation that failed: prints its line of the failure, with a line break, and hands result on.
int failWith(const char* message, int result);

// One request, built from pmState and stored back into it. Leaves errno as the request set it.
int pmprw(PmAccessMode mode);

// Reads the byte at one of the chip's internal addresses into dataWord's bits 7..0.
int read39xByte(uint32_t address);

// The SPI flash's commands, one request each. Addresses are flash byte addresses.
int spiWREN();                               // write enable
int spiRDSR();                               // status register into dataWord's bits 7..0
int spiWRSR(uint8_t value);                  // write the status register
int spiREAD(uint32_t address);               // four bytes into dataWord
int spiPP(uint32_t address, uint32_t word);  // program four bytes
int spiCE();                                 // erase the chip

// Polls the status, at most limit times and without a delay, until the flash is not busy; -1 when it stays
// so.
int waitflashrdy(int limit);

// Read or program count words from address on; 0 when count is 0. Programming is one word a command.
int readflash(uint32_t address, uint32_t* words, uint32_t count);
int writeflash(uint32_t address, const uint32_t* words, uint32_t count);

// Erases the whole flash.
int eraseflash();

// Clears the status register, and with it the block protection.
int disableflashWP();
