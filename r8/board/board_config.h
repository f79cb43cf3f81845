#pragma once

#include <stdint.h>

// What the board has fitted; the start values serve a board whose CPLD can't be read.
struct BoardConfig {
    uint32_t usbPortCount = 0;
    int32_t panelPresent = 1;      // a front panel with keys
    uint32_t netCardCount = 1;     // 1 or 2
    int32_t poeSwitchPresent = 0;  // the last interface is the PoE switch and is not tested
    uint8_t diskPortCount = 0;     // also written by the board information report
    uint8_t esataPortCount = 1;    // also written by the SATA test
    uint32_t alarmOutCount = 0;
    uint32_t alarmInCount = 0;
    int32_t rs485Present = 1;          // decided by the boot parameters' board type code
    int32_t chipTempCheckEnabled = 0;  // the summary's chip-temperature check; no board sets it yet
};

extern BoardConfig boardConfig;

// Fills boardConfig from the CPLD's board description, once, at start-up. The lines go to the pipe when
// toPipe is non-zero, else to the console. 0, or -1 with a line that says why and boardConfig as it was.
int loadBoardConfig(int toPipe);

// Sets boardConfig.rs485Present: only eight board types carry the RS485 port.
void setRs485Present(uint16_t boardTypeCode);
