#pragma once

#include <stddef.h>
#include <stdint.h>

// Identity and size of one drive, asked through its device node with Linux's own requests. Diagnostics go
// straight to standard output.

// The ATA command IDENTIFY DEVICE and its data: 256 little-endian words. In a text field the first character
// of each pair is the word's high byte; ataIdentify puts them into reading order.
constexpr uint8_t ataIdentifyDevice = 0xEC;
constexpr size_t ataSectorBytes = 512;

struct AtaTextField {
    size_t offset;  // in bytes
    size_t length;
};
constexpr AtaTextField ataSerialNumber = {20, 20};
constexpr AtaTextField ataFirmwareRevision = {46, 8};
constexpr AtaTextField ataModelNumber = {54, 40};

constexpr uint64_t unknownCapacity = UINT64_MAX;

// The running kernel as major * 65536 + minor * 256 + patch (2.6.24: 0x020618), read once per process;
// 0 when unknown, which a release of less than three numbers is too.
uint32_t kernelVersionCode();

// Bytes of the open block device fd into *size. 0, or -1 with *size as it was.
int blockDeviceBytes(int fd, uint64_t* size);

// Bytes of the block device at path; unknownCapacity with a message when it can't be read.
uint64_t deviceCapacity(const char* path);

// Reads the drive's identity into buffer (512 bytes, zeroed by the caller), its three text fields in reading
// order. 0, or -1: silently when the node does not open, with a message when the drive refuses the command.
int ataIdentify(const char* path, uint8_t* buffer);
