#pragma once

#include <stdint.h>

#include "r8/pmfw/pm_request.h"
#include "r8/print.h"

// Access to the flash behind a JMB39X, a step above single requests: waiting, words, erasing. The same
// results, and one more line for each level that a failure passes.

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

// Polls the status, at most limit times and without a delay, until the flash is not busy; -1 when it stays
// so.
inline int waitflashrdy(int limit) {
    for (int poll = 0; poll < limit; ++poll) {
        const int result = spiRDSR();
        if (result < 0) {
            return failWith("ERR : waitflashrdy, spiRDSR fail", result);
        }
        if ((pmState.dataWord() & flashBusy) == 0) {
            return result;
        }
    }
    print("ERR : waitflashrdy, timeout (%d)", limit);
    return -1;
}

// Reads count words from address on; 0 when count is 0.
inline int readflash(uint32_t address, uint32_t* words, uint32_t count) {
    int result = 0;
    for (uint32_t k = 0; k < count; ++k, address += flashWordBytes) {
        result = spiREAD(address);
        if (result < 0) {
            print("ERR : readflash, spiREAD fail (%08Xh)\n", address);
            return result;
        }
        words[k] = pmState.dataWord();
    }
    return result;
}

// Programs count words from address on, one a command; 0 when count is 0.
inline int writeflash(uint32_t address, const uint32_t* words, uint32_t count) {
    constexpr int programPollLimit = 1000;
    int result = 0;
    for (uint32_t k = 0; k < count; ++k, address += flashWordBytes) {
        result = spiWREN();
        if (result < 0) {
            print("ERR : writeflash, spiWREN fail (%08Xh)\n", address);
            return result;
        }
        result = spiPP(address, words[k]);
        if (result < 0) {
            print("ERR : writeflash, spiPP fail (%08Xh)\n", address);
            return result;
        }
        result = waitflashrdy(programPollLimit);
        if (result < 0) {
            print("ERR : writeflash, waitflashrdy(1000) fail2 (%08Xh)\n", address);
            return result;
        }
    }
    return result;
}

// Erases the whole flash.
int eraseflash();

// Clears the status register, and with it the block protection.
int disableflashWP();
