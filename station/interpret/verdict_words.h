#pragma once

// The words that an item can have behind its title's colon.

#include <string_view>

#include "station/interpret/run.h"

namespace station {

// As ItemRow::readVerdict describes, "成功" and "失败".
bool readPlainVerdict(TestRun& run, Item& item, std::string_view verdict);

// The number that the words are; none when they are no number.
Count countIn(std::string_view verdict);

// Takes over a verdict. A summary that says both of an item says failed.
void addVerdict(Item& item, bool passed, std::string_view words);

}  // namespace station
