#pragma once

// Test 10, count times: brings the firmware of the board's SATA port multipliers up to date, each through the
// first disk behind it that opens, resets those that were rewritten, and prints one verdict a chip. Which
// letters of "/dev/sd?" belong to which chip follows from boardConfig.diskPortCount (5, 9 or 16).
void portMultiplierRun(unsigned count);
