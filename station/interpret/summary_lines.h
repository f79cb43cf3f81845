#pragma once

// The tool's summary, and what it prints beside its records. Lines are UTF-8, without their line break; any
// text is safe.

#include <string_view>

#include "station/interpret/run.h"

namespace station {

// A line of the summary on the pipe. One that no summary has goes to run.unknown.
void readSummaryLine(TestRun& run, std::string_view line);

// The words that an item can have behind its title's colon, as ItemRow::readVerdict describes: "成功" and
// "失败" for all,
bool readVerdict(TestRun& run, Item& item, std::string_view verdict);
// for the USB ports also the count of what was found,
bool readUsbVerdict(TestRun& run, Item& item, std::string_view verdict);
// for the drives also that and "端口1,3无连接",
bool readSataVerdict(TestRun& run, Item& item, std::string_view verdict);
// and for the clock that a person judges.
bool readClockVerdict(TestRun& run, Item& item, std::string_view verdict);

// The rule above and below the summary; the board description's own frame is made of other signs.
bool isRule(std::string_view line);

// The last record of every run.
constexpr std::string_view endMarker = "R8TESTEND";

// What the tool prints directly: MAC addresses, RS485 counts, records that it lost.
void readConsoleLine(TestRun& run, std::string_view line);

// Remembers a text where only known ones may stand; the first few, for a tool gone wild has no end of them.
void addUnknown(TestRun& run, std::string_view text);

}  // namespace station
