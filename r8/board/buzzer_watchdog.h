#pragma once

// Sounds the buzzer count times, 200 ms of sound and 200 ms of silence each; nothing for 0 or less.
void beep(int count);

// Test 2 and the full run's audible cues: three beeps.
void buzzerTest();

// Test 9: shortens the watchdog's timeout, so that the board restarts if all is well. Returns 0.
int watchdogTest();
