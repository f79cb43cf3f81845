#pragma once

#include "r8/contract/control_requests.h"
#include "r8/contract/cpld_record.h"

// The board control device "/dev/zorio": everything on the board that has no standard Linux interface.
// Every user opens it read-write (openControlDevice) for its requests and closes it again.

// Descriptor of "/dev/zorio", or -1. Says nothing: each caller reports a failure in its own words.
int openControlDevice();

// Reads the board description into *record (zeroed first). 0, or -1 with a message on standard output and
// errno as the request left it.
int getCpldInfo(int fd, CpldInfo* record);

// Resets the port multipliers of a group (0x100 or 0x80) after their firmware was rewritten, and says so on
// standard output. Returns 0, also where the device does not open or refuses: neither is looked at.
int resetPortMultiplier(unsigned long group);

// The board's result indicator: line 4 driven high (on non-zero) or low. Failures are not looked at.
void setIndicator(int on);
