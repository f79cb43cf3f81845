#include "r8/storage/ata_drive.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <linux/hdreg.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "r8/descriptor.h"
#include "r8/print.h"

// The board's kernel has 32-bit longs, and these are the numbers that it knows.
static_assert(HDIO_DRIVE_CMD == 0x031F, "the board's kernel knows this number");
static_assert(sizeof(long) != 4 || BLKGETSIZE64 == 0x80041272, "the board's kernel knows this number");
static_assert(sizeof(long) != 4 || BLKGETSIZE == 0x1260, "the board's kernel knows this number");

namespace {

constexpr uint64_t sectorBytes = 512;  // BLKGETSIZE's unit, whatever the drive's own sectors are

constexpr AtaTextField textFields[] = {ataSerialNumber, ataModelNumber, ataFirmwareRevision};

// Moves text behind the decimal number that it begins with; false when there is none.
bool readNumber(const char*& text, uint32_t* number) {
    const char* start = text;
    for (*number = 0; *text >= '0' && *text <= '9'; ++text) {
        *number = *number * 10 + static_cast<uint32_t>(*text - '0');
    }
    return text != start;
}

// "2.6.24" and whatever follows; 0 when fewer than three numbers are there.
uint32_t parseKernelVersion(const char* release) {
    uint32_t major = 0;
    uint32_t minor = 0;
    uint32_t patch = 0;
    const bool complete = readNumber(release, &major) && *release++ == '.' && readNumber(release, &minor) &&
                          *release++ == '.' && readNumber(release, &patch);
    return complete ? major * 65536 + minor * 256 + patch : 0;
}

uint32_t readKernelVersion() {
    utsname kernel = {};
    return uname(&kernel) == 0 ? parseKernelVersion(kernel.release) : 0;
}

// From 2.4.18 to the end of 2.4, and from 2.6 on; not in the 2.5 series.
bool hasBlkGetSize64(uint32_t version) {
    return (version >= 0x020412 && version <= 0x0204FF) || version > 0x0205FF;
}

int sendIdentifyDevice(int fd, uint8_t* buffer) {
    uint8_t registers[driveCommandHeaderBytes + ataSectorBytes] = {ataIdentifyDevice, 0, 0, 1};
    if (ioctl(fd, HDIO_DRIVE_CMD, registers) != 0) {
        return -1;
    }
    memcpy(buffer, registers + driveCommandHeaderBytes, ataSectorBytes);
    return 0;
}

void swapCharacterPairs(uint8_t* text, size_t length) {
    for (size_t i = 0; i < length; i += 2) {
        const uint8_t second = text[i];
        text[i] = text[i + 1];
        text[i + 1] = second;
    }
}

}  // namespace

uint32_t kernelVersionCode() {
    constexpr uint32_t notRead = UINT32_MAX;
    static uint32_t version = notRead;
    if (version == notRead) {
        version = readKernelVersion();
    }
    return version;
}

int blockDeviceBytes(int fd, uint64_t* size) {
    uint64_t bytes = 0;
    if (hasBlkGetSize64(kernelVersionCode()) && ioctl(fd, BLKGETSIZE64, &bytes) == 0) {
        *size = bytes;
        return 0;
    }
    unsigned long sectors = 0;
    if (ioctl(fd, BLKGETSIZE, &sectors) != 0) {
        return -1;
    }
    *size = sectors * sectorBytes;
    return 0;
}

uint64_t deviceCapacity(const char* path) {
    if (path == nullptr) {
        print("invalid devName\n");
        return unknownCapacity;
    }
    const Descriptor drive(open(path, O_RDONLY));
    if (drive.number() == -1) {
        print("Can not open %s \n", path);
        return unknownCapacity;
    }
    uint64_t size = unknownCapacity;
    if (blockDeviceBytes(drive.number(), &size) != 0) {
        print("Can not get %s size \n", path);
    }
    return size;
}

int ataIdentify(const char* path, uint8_t* buffer) {
    if (path == nullptr) {
        return -1;
    }
    const Descriptor drive(open(path, O_RDWR | O_NONBLOCK));
    if (drive.number() == -1) {
        return -1;
    }
    const int result = sendIdentifyDevice(drive.number(), buffer);
    if (result < 0) {
        print("send IDENTIFY DEVICE command, return %d\n", result);
    }
    for (const AtaTextField& field : textFields) {
        swapCharacterPairs(buffer + field.offset, field.length);
    }
    return result;
}
