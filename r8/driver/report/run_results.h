#pragma once

#include <stdint.h>

// The verdicts of a run: each field is written by one test and read by the summary only. A step that does
// not run leaves its field as it starts, which counts as passed.
struct RunResults {
    int32_t cpldOk = 1;           // 0: the CPLD step could not read the board description
    uint32_t usbFoundCount = 0;   // USB ports found working
    uint32_t sataFoundCount = 0;  // drives found on SATA ports, external ones included
    uint32_t sataFailedMask = 0;  // bit i: nothing answers on SATA port i + 1
    int32_t networkFailed = 0;
    int32_t rs485Failed = 0;
    int32_t alarmFailed = 0;
    int32_t rtcFailed = 0;
};

extern RunResults runResults;
