#pragma once

#include <stddef.h>
#include <stdint.h>

// A report line on the named pipe, host byte order (the board is little-endian), always one write(2):
//   0  4 bytes  reserved, always 0
//   4  4 bytes  length of the text in bytes, 0..1023
//   8  length   the text as it would have been printed (GBK, line breaks included), no NUL
constexpr size_t reportRecordHeaderBytes = 8;
constexpr size_t reportRecordLengthOffset = 4;
constexpr size_t reportTextBytes = 1024;  // room for the text and a NUL

struct ReportRecord {
    uint32_t reserved = 0;
    uint32_t length = 0;
    char text[reportTextBytes] = {};
};
static_assert(offsetof(ReportRecord, length) == reportRecordLengthOffset &&
                  offsetof(ReportRecord, text) == reportRecordHeaderBytes &&
                  sizeof(ReportRecord) == reportRecordHeaderBytes + reportTextBytes,
              "the record goes to the pipe as it lies in memory");

constexpr char reportPipePath[] = "/var/r8.fifo";
