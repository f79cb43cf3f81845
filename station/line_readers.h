#pragma once

// What the operator lines of each step measure. Lines are UTF-8, without their line break; one that says
// nothing of the kind is left alone, and any text is safe. Values go to item.measured under the names and in
// the units that docs/station.md lists. A line that shows that something was looked at sets item.checked, one
// that a summary of "passed" can't stand beside sets item.contradiction.

#include <string_view>

#include "run.h"

namespace station {

// "网卡1:网络连接接通 ", "全双工  1000M"
void readNetworkLine(Item& item, std::string_view line);
// "报警输入有16个,报警输出有4个", "成功 5, 失败 0", and the states that were expected to differ
void readAlarmLine(Item& item, std::string_view line);
// The times of clock and system, in turns.
void readClockLine(Item& item, std::string_view line);
// "/dev/msa1 剩余空间 = 7792M", "找到3.0USB"
void readUsbLine(Item& item, std::string_view line);
// "设备有4个sata口", "/dev/sda", "序列号    :...", "/dev/esda 不存在"
void readSataLine(Item& item, std::string_view line);
// The step's own verdict; the counts stand on the console.
void readRs485Line(Item& item, std::string_view line);
// "label:value". Also what the board has to have: its identity, and the number of USB ports.
void readBoardLine(TestRun& run, std::string_view line);
// The verdicts, and the numbers of USB devices and drives found.
void readSummaryLine(TestRun& run, std::string_view line);

// What the tool prints directly: MAC addresses, RS485 counts, records that it lost.
void readConsoleLine(TestRun& run, std::string_view line);

// The first text of any line that only the alarm test emits.
bool isAlarmLine(std::string_view line);

}  // namespace station
