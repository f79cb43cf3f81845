#pragma once

#include <stdint.h>

#include "r8/contract/ata_identity.h"

// Identity and size of one drive, asked through its device node with Linux's own requests. Diagnostics go
// straight to standard output.

constexpr uint64_t unknownCapacity = UINT64_MAX;

// The running kernel as major * 65536 + minor * 256 + patch (2.6.24: 0x020618), read once per process;
// 0 when unknown, which a release of less than three numbers is too.
uint32_t kernelVersionCode();

// Bytes of the open block device fd into *size. 0, or -1 with *size as it was.
int blockDeviceBytes(int fd, uint64_t* size);

// Bytes of the block device at path; unknownCapacity with a message when it can't be read.
uint64_t deviceCapacity(const char* path);

// Reads the drive's IDENTIFY DEVICE data into buffer (512 bytes, zeroed by the caller), its three text fields
// in reading order. 0, or -1: silently when the node does not open, with a message when the drive refuses the
// command.
int ataIdentify(const char* path, uint8_t* buffer);
