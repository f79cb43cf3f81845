#include "r8/pmfw/pm_access.h"

#include <errno.h>
#include <stdio.h>
#include <sys/ioctl.h>

#include "r8/contract/little_endian.h"

PmState pmState;

namespace {

constexpr int programPollLimit = 1000;
constexpr int flashPollLimit = 10000;  // around erase and status writes

void buildRecord(PmAccessMode mode, uint8_t (&record)[pmprwRecordBytes]) {
    const uint8_t target = mode == PmAccessMode::registerRead ? pmState.pmPort : pmState.flashIndex;
    record[pmRecord::controlLow] = static_cast<uint8_t>(pmState.ctrlWord);
    putLittleEndian32(record + pmRecord::data, pmState.dataWord);
    record[pmRecord::target] = static_cast<uint8_t>(pmRecord::targetBit + (target & 0x7F));
    record[pmRecord::command] = static_cast<uint8_t>(mode);
    record[pmRecord::controlHigh] = static_cast<uint8_t>(pmState.ctrlWord >> 8);
    putLittleEndian32(record + pmRecord::address, pmState.addrWord);
}

int spiTransfer(uint16_t ctrlWord) {
    pmState.ctrlWord = ctrlWord;
    return pmprw(PmAccessMode::spiTransfer);
}

}  // namespace

int failWith(const char* message, int result) {
    puts(message);
    return result;
}

int pmprw(PmAccessMode mode) {
    uint8_t record[pmprwRecordBytes] = {};
    buildRecord(mode, record);
    const int result = ioctl(pmState.driveFd, pmprwRequest, record);
    pmState.dataWord = littleEndian32(record + pmRecord::data);
    pmState.addrWord = littleEndian32(record + pmRecord::address);
    if (result < 0) {
        const int error = errno;
        printf("ERR : pmprw, ioctl fail (%d)\n", error);
        errno = error;  // the next level prints it too
    }
    return result;
}

int read39xByte(uint32_t address) {
    pmState.pmPort = pmControlPort;
    pmState.ctrlWord = pmControl::readRegister;
    pmState.addrWord = address;
    return pmprw(PmAccessMode::registerRead);
}

int spiWREN() {
    const int result = spiTransfer(pmControl::writeEnable);
    if (result < 0) {
        printf("ERR : spiWREN, spi JMB39X fail (%d)\n", errno);
    }
    return result;
}

int spiRDSR() {
    const int result = spiTransfer(pmControl::readStatus);
    if (result < 0) {
        printf("ERR : spiRDSR, spi JMB39X fail (%d)\n", errno);
    }
    return result;
}

int spiWRSR(uint8_t value) {
    pmState.dataWord = value;
    const int result = spiTransfer(pmControl::writeStatus);
    if (result < 0) {
        printf("ERR : spiWRSR, spi JMB39X fail (%d)\n", errno);
    }
    return result;
}

int spiREAD(uint32_t address) {
    pmState.addrWord = address;
    const int result = spiTransfer(pmControl::read);
    if (result < 0) {
        printf("ERR : spiREAD, spi JMB39X fail (%d)\n", errno);
    }
    return result;
}

int spiPP(uint32_t address, uint32_t word) {
    pmState.dataWord = word;
    pmState.addrWord = address;
    const int result = spiTransfer(pmControl::pageProgram);
    if (result < 0) {
        printf("ERR : spiPP, spi JMB39X fail (%d)\n", errno);
    }
    return result;
}

int spiCE() {
    const int result = spiTransfer(pmControl::chipErase);
    if (result < 0) {
        printf("ERR : spiCE, spi JMB39X fail (%d)\n", errno);
    }
    return result;
}

int waitflashrdy(int limit) {
    for (int poll = 0; poll < limit; ++poll) {
        const int result = spiRDSR();
        if (result < 0) {
            return failWith("ERR : waitflashrdy, spiRDSR fail", result);
        }
        if ((pmState.dataWord & flashBusy) == 0) {
            return result;
        }
    }
    printf("ERR : waitflashrdy, timeout (%d)", limit);
    return -1;
}

int readflash(uint32_t address, uint32_t* words, uint32_t count) {
    int result = 0;
    for (uint32_t k = 0; k < count; ++k, address += flashWordBytes) {
        result = spiREAD(address);
        if (result < 0) {
            printf("ERR : readflash, spiREAD fail (%08Xh)\n", address);
            return result;
        }
        words[k] = pmState.dataWord;
    }
    return result;
}

int writeflash(uint32_t address, const uint32_t* words, uint32_t count) {
    int result = 0;
    for (uint32_t k = 0; k < count; ++k, address += flashWordBytes) {
        result = spiWREN();
        if (result < 0) {
            printf("ERR : writeflash, spiWREN fail (%08Xh)\n", address);
            return result;
        }
        result = spiPP(address, words[k]);
        if (result < 0) {
            printf("ERR : writeflash, spiPP fail (%08Xh)\n", address);
            return result;
        }
        result = waitflashrdy(programPollLimit);
        if (result < 0) {
            printf("ERR : writeflash, waitflashrdy(1000) fail2 (%08Xh)\n", address);
            return result;
        }
    }
    return result;
}

int eraseflash() {
    int result = waitflashrdy(flashPollLimit);
    if (result < 0) {
        return failWith("ERR : eraseflash, waitflashrdy(10000) fail1", result);
    }
    result = spiWREN();
    if (result < 0) {
        return failWith("ERR : eraseflash, spiWREN fail", result);
    }
    result = spiCE();
    if (result < 0) {
        return failWith("ERR : eraseflash, spiCE fail", result);
    }
    result = waitflashrdy(flashPollLimit);
    if (result < 0) {
        return failWith("ERR : eraseflash, waitflashrdy(10000) fail2", result);
    }
    return result;
}

int disableflashWP() {
    int result = waitflashrdy(flashPollLimit);
    if (result < 0) {
        return failWith("ERR : disableflashWP, waitflashrdy(10000) fail1", result);
    }
    result = spiWREN();
    if (result < 0) {
        return failWith("ERR : disableflashWP, spiWREN fail", result);
    }
    result = spiWRSR(0);
    if (result < 0) {
        return failWith("ERR : disableflashWP, spiWRSR fail", result);
    }
    result = waitflashrdy(flashPollLimit);
    if (result < 0) {
        return failWith("ERR : disableflashWP, waitflashrdy(10000) fail2", result);
    }
    return result;
}
