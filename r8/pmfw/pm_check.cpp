#include "r8/pmfw/pm_check.h"

#include <errno.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

#include "r8/contract/little_endian.h"
#include "r8/pmfw/pm_access.h"
#include "r8/print.h"

namespace {

constexpr size_t headerReadBytes = 512;
constexpr ssize_t headerBytes = imageHeader::bytes;

constexpr uint32_t probeWords = 4;
constexpr uint32_t flashProbePattern[probeWords] = {0x00010203, 0xFFFEFDFC, 0x55AA55AA, 0xF00FFF00};

uint8_t registerByte() {
    return static_cast<uint8_t>(pmState.dataWord());
}

// A size that can't be read or does not fit becomes all ones, which is no multiple of 4.
uint32_t readImageLength() {
    const off_t size = lseek(pmState.imageFd, 0, SEEK_END);
    (void)lseek(pmState.imageFd, 0, SEEK_SET);  // a file that can't seek has no size either
    return size < 0 || size > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(size);
}

int readHeader(uint8_t (&header)[headerReadBytes]) {
    const ssize_t length = pread(pmState.imageFd, header, sizeof header, 0);
    if (length < 0) {
        print("ERR : chkbinfile, read binfile fail (%d)\n", errno);
        return -1;
    }
    if (length < headerBytes) {
        return failWith("ERR : chkbinfile, too few data when read binfile (< 32 bytes)", -1);
    }
    return 0;
}

int checkImageId(const uint8_t* header) {
    if (header[0] != imageHeader::id0 || header[1] != imageHeader::id1 ||
        header[imageHeader::chipId] != pmChipId) {
        print("ERR : chkbinfile, binfile ID error (%02Xh %02X%02Xh)\n", header[3], header[1], header[0]);
        return -1;
    }
    print("INFO: Binfile ID = %02Xh %02X%02Xh\n", header[3], header[1], header[0]);
    return 0;
}

void compareRevision(uint8_t revision) {
    if (revision == pmState.revisionId) {
        print("INFO: Revision ID = %02Xh\n", revision);
        return;
    }
    print("WRN : chkbinfile, revision ID is mismatch (JMB39X = %02Xh, binfile = %02Xh)\n", pmState.revisionId,
          revision);
    print("      continue!");
}

// Negative on failure, else the value of the last register read.
int checkBonding(uint8_t imageBonding) {
    int result = read39xByte(pmRegister::bondingHigh);
    if (result < 0) {
        return failWith("ERR : chkbinfile, read JMB39X fail1", result);
    }
    const uint8_t high = registerByte();
    result = read39xByte(pmRegister::bondingLow);
    if (result < 0) {
        return failWith("ERR : chkbinfile, read JMB39X fail2", result);
    }
    const auto bonding = static_cast<uint8_t>(high * 4 | registerByte());
    if (bonding != imageBonding) {
        print("ERR : chkbinfile, bonding is mismatch (JMB39X = %02Xh, binfile = %02Xh)\n", bonding,
              imageBonding);
        return -1;
    }
    print("INFO: Bonding = %02Xh\n", bonding);
    return result;
}

int checkLength(const uint8_t* header) {
    const uint32_t expected = uint32_t{littleEndian16(header + imageHeader::lengthPartA)} +
                              littleEndian16(header + imageHeader::lengthPartB);
    if (expected != pmState.imageLength) {
        print("ERR : Binfine length is mismatch (exp: %d, act: %d)\n", static_cast<int>(expected),
              static_cast<int>(pmState.imageLength));
        return -1;
    }
    print("INFO: Binfile length = %d bytes\n", static_cast<int>(expected));
    return 0;
}

// A flash that holds no image proves itself by keeping a pattern.
int probeFlash() {
    constexpr PmStep programPattern[] = {
        {disableflashWP, "ERR : chkflashsts, disableflashWP fail"},
        {eraseflash, "ERR : chkflashsts, eraseflash fail"},
        {[] { return writeflash(0, flashProbePattern, probeWords); }, "ERR : chkflashsts, writeflash fail"},
    };
    int result = perform(programPattern);
    if (result < 0) {
        return result;
    }
    uint32_t words[probeWords] = {};
    result = readflash(0, words, probeWords);
    if (result < 0) {
        return failWith("ERR : chkflashsts, readflash fail", result);
    }
    if (memcmp(words, flashProbePattern, sizeof words) != 0) {
        print("ERR : chkflashsts, chk0 fail, (%08X %08X %08X %08X)\n", words[0], words[1], words[2],
              words[3]);
        return -1;
    }
    print("INFO: Flash is found by chk0\n");
    return 0;
}

}  // namespace

int chk39xdev() {
    int result = read39xByte(pmRegister::presence);
    if (result < 0) {
        return failWith("ERR : chk39xdev, read JMB39X fail1", result);
    }
    if (registerByte() != pmPresence1 && registerByte() != pmPresence2) {
        print("ERR : JMB39X device doesn't exist (%08Xh)\n", pmState.dataWord());
        return -1;
    }
    print("INFO: JMB39X device exist\n");
    result = read39xByte(pmRegister::revision);
    if (result < 0) {
        return failWith("ERR : chk39xdev, read JMB39X fail2", result);
    }
    pmState.revisionId = registerByte();
    print("INFO: JMB39X CHIP ID = %02Xh, Revision ID = %02Xh\n", pmChipId, pmState.revisionId);
    return result;
}

int chkbinfile() {
    pmState.imageLength = readImageLength();
    if (pmState.imageLength % flashWordBytes != 0) {
        print("ERR : chkbinfile, length of binfile isn't alignment (%d)\n",
              static_cast<int>(pmState.imageLength));
        return -1;
    }
    uint8_t header[headerReadBytes] = {};
    if (readHeader(header) < 0 || checkImageId(header) < 0) {
        return -1;
    }
    compareRevision(header[imageHeader::revision]);
    const int result = checkBonding(header[imageHeader::bonding]);
    if (result < 0) {
        return result;
    }
    return checkLength(header) < 0 ? -1 : result;
}

int chkflashsts() {
    const int result = spiREAD(0);
    if (result < 0) {
        return failWith("ERR : chkflashsts, spiREAD fail (00000000h)", result);
    }
    const uint8_t identification[] = {imageHeader::id0, imageHeader::id1, pmState.revisionId, pmChipId};
    if (pmState.dataWord() == littleEndian32(identification)) {
        print("INFO: Flash is found by chk1\n");
        return 1;
    }
    print("WRN : chkflashsts, chk1 fail, try chk0 (%08X)\n", pmState.dataWord());
    return probeFlash();
}
