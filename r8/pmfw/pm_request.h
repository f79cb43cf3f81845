#pragma once

#include <stdint.h>
#include <sys/ioctl.h>

#include "r8/contract/little_endian.h"
#include "r8/contract/port_multiplier.h"

// Requests to a JMB39X SATA port multiplier and its SPI NOR flash. The chip is reached only through the SATA
// link: a private request of the board's SATA driver, issued on a disk behind the chip, carries one record of
// ATA registers there and back. Messages go straight to standard output, one line a level, lowest first.
//
// A firmware upload comes here a hundred thousand times, so what it calls stands in this header and in
// pm_access.h.
//
// Results, where nothing else is said: negative on failure, else the value of the last request made.

// One chip is served at a time.
struct PmState {
    uint8_t record[pmprwRecordBytes] = {};  // of the last request, as it came back
    uint8_t flashIndex = 0;
    uint8_t revisionId = 0;    // the chip's
    int driveFd = -1;          // disk node behind the chip, borrowed
    int imageFd = -1;          // firmware image, open during an update
    uint32_t imageLength = 0;  // bytes

    uint32_t dataWord() const { return littleEndian32(record + pmRecord::data); }
    void setDataWord(uint32_t word) { putLittleEndian32(record + pmRecord::data, word); }
    void setAddrWord(uint32_t address) { putLittleEndian32(record + pmRecord::address, address); }
};

extern PmState pmState;

// Print the line of a request that failed, with errno, and hand result on.
[[gnu::cold]] int pmprwFailed(int result);
[[gnu::cold]] int spiFailed(const char* name, int result);

// One request, with data and address as they were set or came back, and everything else afresh. Leaves errno
// as the request set it.
inline int pmprw(PmAccessMode mode, uint16_t ctrlWord) {
    uint8_t* record = pmState.record;
    const uint8_t target = mode == PmAccessMode::registerRead ? pmControlPort : pmState.flashIndex;
    record[0] = 0;
    record[pmRecord::controlLow] = static_cast<uint8_t>(ctrlWord);
    record[pmRecord::target] = static_cast<uint8_t>(pmRecord::targetBit + (target & 0x7F));
    record[pmRecord::command] = static_cast<uint8_t>(mode);
    record[8] = 0;
    record[pmRecord::controlHigh] = static_cast<uint8_t>(ctrlWord >> 8);
    record[14] = 0;
    record[15] = 0;
    const int result = ioctl(pmState.driveFd, pmprwRequest, record);
    return result < 0 ? pmprwFailed(result) : result;
}

// Reads the byte at one of the chip's internal addresses into dataWord's bits 7..0.
inline int read39xByte(uint32_t address) {
    pmState.setAddrWord(address);
    return pmprw(PmAccessMode::registerRead, pmControl::readRegister);
}

inline int spiTransfer(const char* name, uint16_t ctrlWord) {
    const int result = pmprw(PmAccessMode::spiTransfer, ctrlWord);
    return result < 0 ? spiFailed(name, result) : result;
}

// The SPI flash's commands, one request each. Addresses are flash byte addresses.

inline int spiWREN() {  // write enable
    return spiTransfer("spiWREN", pmControl::writeEnable);
}

inline int spiRDSR() {  // status register into dataWord's bits 7..0
    return spiTransfer("spiRDSR", pmControl::readStatus);
}

inline int spiWRSR(uint8_t value) {  // write the status register
    pmState.setDataWord(value);
    return spiTransfer("spiWRSR", pmControl::writeStatus);
}

inline int spiREAD(uint32_t address) {  // four bytes into dataWord
    pmState.setAddrWord(address);
    return spiTransfer("spiREAD", pmControl::read);
}

inline int spiPP(uint32_t address, uint32_t word) {  // program four bytes
    pmState.setDataWord(word);
    pmState.setAddrWord(address);
    return spiTransfer("spiPP", pmControl::pageProgram);
}

inline int spiCE() {  // erase the chip
    return spiTransfer("spiCE", pmControl::chipErase);
}
