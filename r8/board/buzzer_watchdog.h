#pragma once

// Sounds the buzzer count times, 200 ms of sound and 200 ms of silence each; nothing for 0 or less. A control
// device that does not open is said on standard output; what the buzzer does nobody checks.
void beep(int count);

// Test 2 and the full run's audible cues: three beeps.
void buzzerTest();

// Test 9: shortens the watchdog's timeout, so that the board restarts if all is well. What failed is
// said on standard output. Returns 0 all the same.
int watchdogTest();
