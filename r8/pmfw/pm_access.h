#pragma once

#include <stdint.h>

#include "r8/contract/port_multiplier.h"

// Access to a JMB39X SATA port multiplier and its SPI NOR flash. The chip is reached only through the SATA
// link: a private request of the board's SATA driver, issued on a disk behind the chip, carries one record of
// ATA registers there and back. Messages go straight to standard output, one line a level, lowest first.
//
// Results, where nothing else is said: negative on failure, else the value of the last request made.

// One chip is served at a time. What an operation does not set goes out as the previous one left it.
struct PmState {
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

// Ends an operation that failed: prints its line of the failure, with a line break, and hands result on.
int failWith(const char* message, int result);

// A step of an operation, and the line of the operation that ends there.
struct PmStep {
    int (*run)();
    const char* failure;
};

// The steps one after another, up to the first that fails: the result of the last one run.
template <int count>
int perform(const PmStep (&steps)[count]) {
    int result = 0;
    for (const PmStep& step : steps) {
        result = step.run();
        if (result < 0) {
            return failWith(step.failure, result);
        }
    }
    return result;
}

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
