#include "r8/pmfw/pm_access.h"

#include <errno.h>
#include <sys/ioctl.h>

#include "r8/contract/little_endian.h"
#include "r8/print.h"

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

int spiTransfer(const char* name, uint16_t ctrlWord) {
    pmState.ctrlWord = ctrlWord;
    const int result = pmprw(PmAccessMode::spiTransfer);
    if (result < 0) {
        print("ERR : %s, spi JMB39X fail (%d)\n", name, errno);
    }
    return result;
}

int waitFlashIdle() {
    return waitflashrdy(flashPollLimit);
}

}  // namespace

int failWith(const char* message, int result) {
    print("%s\n", message);
    return result;
}

int pmprw(PmAccessMode mode) {
    uint8_t record[pmprwRecordBytes] = {};
    buildRecord(mode, record);
    const int result = ioctl(pmState.driveFd, pmprwRequest, record);
    pmState.dataWord = littleEndian32(record + pmRecord::data);
    pmState.addrWord = littleEndian32(record + pmRecord::address);
    if (result < 0) {
        print("ERR : pmprw, ioctl fail (%d)\n", errno);  // the next level prints it too
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
    return spiTransfer("spiWREN", pmControl::writeEnable);
}

int spiRDSR() {
    return spiTransfer("spiRDSR", pmControl::readStatus);
}

int spiWRSR(uint8_t value) {
    pmState.dataWord = value;
    return spiTransfer("spiWRSR", pmControl::writeStatus);
}

int spiREAD(uint32_t address) {
    pmState.addrWord = address;
    return spiTransfer("spiREAD", pmControl::read);
}

int spiPP(uint32_t address, uint32_t word) {
    pmState.dataWord = word;
    pmState.addrWord = address;
    return spiTransfer("spiPP", pmControl::pageProgram);
}

int spiCE() {
    return spiTransfer("spiCE", pmControl::chipErase);
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
    print("ERR : waitflashrdy, timeout (%d)", limit);
    return -1;
}

int readflash(uint32_t address, uint32_t* words, uint32_t count) {
    int result = 0;
    for (uint32_t k = 0; k < count; ++k, address += flashWordBytes) {
        result = spiREAD(address);
        if (result < 0) {
            print("ERR : readflash, spiREAD fail (%08Xh)\n", address);
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

int eraseflash() {
    constexpr PmStep steps[] = {
        {waitFlashIdle, "ERR : eraseflash, waitflashrdy(10000) fail1"},
        {spiWREN, "ERR : eraseflash, spiWREN fail"},
        {spiCE, "ERR : eraseflash, spiCE fail"},
        {waitFlashIdle, "ERR : eraseflash, waitflashrdy(10000) fail2"},
    };
    return perform(steps);
}

int disableflashWP() {
    constexpr PmStep steps[] = {
        {waitFlashIdle, "ERR : disableflashWP, waitflashrdy(10000) fail1"},
        {spiWREN, "ERR : disableflashWP, spiWREN fail"},
        {[] { return spiWRSR(0); }, "ERR : disableflashWP, spiWRSR fail"},
        {waitFlashIdle, "ERR : disableflashWP, waitflashrdy(10000) fail2"},
    };
    return perform(steps);
}
