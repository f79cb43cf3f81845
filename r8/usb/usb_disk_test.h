#pragma once

// Test 7 and the full run's USB step: counts what is plugged in into runResults.usbFoundCount (mice, plus
// disks, minus disks whose file system can't be queried), mounts each disk as vfat under "/mnt" and emits its
// free space, and says whether a USB 3.0 device is there. Sees at most 8 disks. The mount points stay.
// 0 after the disks were looked at; -1 without any disk, and when "/dev" can't be opened, with a count of 0.
int UsbPortTest();

// 1 when s holds a decimal digit, 0 when not and for a null pointer.
int HasDigit(const char* s);
