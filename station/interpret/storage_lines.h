#pragma once

// What the lines of the USB and the SATA step measure; as in station/interpret/step_lines.h.

#include <string>
#include <string_view>

#include "station/interpret/run.h"

namespace station {

// "/dev/msa1 剩余空间 = 7792M", "找到3.0USB"
void readUsbLine(TestRun& run, std::string_view line);
// Both counts: the test says nothing else when it finds nothing.
std::string usbLacks(const TestRun& run);
std::string usbIdle(const TestRun& run);

// "设备有4个sata口", "/dev/sda", "序列号    :...", "/dev/esda 不存在"
void readSataLine(TestRun& run, std::string_view line);
// A line for each port, every field of each drive, and as many drives as the summary counts.
std::string sataLacks(const TestRun& run);
std::string sataIdle(const TestRun& run);

}  // namespace station
