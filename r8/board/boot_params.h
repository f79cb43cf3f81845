#pragma once

#include "r8/contract/boot_record.h"

// The board's boot parameters; zero until the first getBootParams.
extern BootParams bootParams;

// Refreshes bootParams and boardConfig.rs485Present from the open control device fd. 1 when the network and
// alarm steps may run, 0 when the gate is closed or the query failed (then with a message, and nothing
// changed).
int getBootParams(int fd);
