#pragma once

// Test 10, count times: brings the firmware of the board's SATA port multipliers up to date, each through the
// first disk behind it that opens, resets those that were rewritten, and prints one verdict a chip. Which
// letters of "/dev/sd?" belong to which chip follows from boardConfig.diskPortCount; any count but 5, 9 and
// 16 gets a line that says so instead of verdicts.
void portMultiplierRun(unsigned count);
