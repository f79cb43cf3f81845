#pragma once

#include "r8/board/control_device.h"

// Test 1 and the full run's last step: reads the board description and prints it. 0, or -1 with a message
// when it could not be read; runResults.cpldOk is 0 then.
int cpldInfoStep();

// Emits the whole report for one description, one report line a property. Stores the disk interface count
// in boardConfig.diskPortCount when it is 0, 1, 2 or 4.
void PrintCpldInfo(const CpldInfo* info);
