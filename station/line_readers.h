#pragma once

// What the operator lines of each step measure. A line that says nothing of the kind is left alone.

#include <string_view>

#include "run.h"

namespace station {

void readNetworkLine(Item& item, std::string_view line);
void readAlarmLine(Item& item, std::string_view line);
void readClockLine(Item& item, std::string_view line);
void readUsbLine(Item& item, std::string_view line);
void readSataLine(Item& item, std::string_view line);
void readRs485Line(Item& item, std::string_view line);
void readBoardLine(TestRun& run, std::string_view line);
void readSummaryLine(TestRun& run, std::string_view line);

// What the tool prints directly: MAC addresses, RS485 counts, records that it lost.
void readConsoleLine(TestRun& run, std::string_view line);

// The first text of any line that only the alarm test emits.
bool isAlarmLine(std::string_view line);

}  // namespace station
