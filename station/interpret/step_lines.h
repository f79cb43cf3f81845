#pragma once

// What the operator lines of each step measure. Lines are UTF-8, without their line break; any text is safe.
// A line that shows that something was looked at sets the item's checked, one that a summary of "passed"
// can't stand beside sets its contradiction, and one that should say something and does not sets broken. Any
// other line that says nothing of the kind is left alone.

#include <string>
#include <string_view>

#include "station/interpret/run.h"

namespace station {

// "网卡1:网络连接接通 ", "全双工  1000M"
void readNetworkLine(TestRun& run, std::string_view line);
// Each card's link, and duplex and speed of one that is up.
std::string networkLacks(const TestRun& run);

// "报警输入有16个,报警输出有4个", "成功 5, 失败 0", and the states that were expected to differ
void readAlarmLine(TestRun& run, std::string_view line);
std::string alarmIdle(const TestRun& run);
// The first text of any line that only the alarm test emits.
bool isAlarmLine(std::string_view line);

// The times of clock and system, in turns.
void readClockLine(TestRun& run, std::string_view line);

// The step's own verdict; the counts stand on the console.
void readRs485Line(TestRun& run, std::string_view line);

// "label:value". Also what the board has to have: its identity, and the number of USB ports.
void readBoardLine(TestRun& run, std::string_view line);

// Remembers the first line of an item's that should say something and does not.
void markBroken(Item& item, std::string_view line);

}  // namespace station
