#pragma once

#include <string_view>

#include "station/interpret/run.h"

namespace station {

// The words that an item can have behind its title's colon, as ItemRow::readVerdict describes: "成功" and
// "失败" for all,
bool readVerdict(TestRun& run, Item& item, std::string_view verdict);
// for the USB ports also the count of what was found,
bool readUsbVerdict(TestRun& run, Item& item, std::string_view verdict);
// for the drives also that and "端口1,3无连接",
bool readSataVerdict(TestRun& run, Item& item, std::string_view verdict);
// and for the clock that a person judges.
bool readClockVerdict(TestRun& run, Item& item, std::string_view verdict);

}  // namespace station
