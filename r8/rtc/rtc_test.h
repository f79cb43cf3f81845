#pragma once

// Test 6: compares the real-time clock with the system time three times, a second apart, and emits both. Two
// seconds of difference pass; more sets runResults.rtcFailed and sounds the buzzer twice. 1 when a comparison
// failed, else 0.
// From then on SIGINT prints how many clock reads of this process worked and failed before it ends it.
int RtcTest();
