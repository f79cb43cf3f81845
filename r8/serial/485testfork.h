#pragma once

// Test 4: sends 1024 bytes on "/dev/ttyS1" with transmitter and receiver both on, and reads them back in a
// forked process, which reports what matched and ends; an incomplete block also sounds the buzzer twice.
// Returns 0 in the writing process, about 6 s after the block went out (5 s when it did not). A port that
// can't be opened or set up ends the program with status 255. Port and reader are left to the program's end,
// the transceiver is left on both ways, runResults is not touched.
int Rs485LoopbackTest();
