#pragma once

#include <stdint.h>

// 1 once the current pmpfwupdate has erased and reprogrammed the flash: the chip wants a reset then.
extern uint32_t pmFlashUpdated;

// Brings the flash of the port multiplier in front of the disk driveFd up to the image. 0 when the flash
// equals the image now, written or not; -1 on any failure. The descriptor stays the caller's.
int pmpfwupdate(int driveFd);
