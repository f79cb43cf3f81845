#pragma once

// Why an item is no pass, in words that a repair bench can use: which thing, what was measured, what was
// expected.

#include <string>
#include <vector>

#include "station/interpret/run.h"
#include "station/product/checks.h"

namespace station {

// One reason for each thing whose checks did not hold.
std::vector<Words> reasonsOf(const Item& item, const std::vector<ElementCheck>& checks);

// Of an item that failed or is incomplete by what the tool said: against what the tool expects of every
// board, else what the lines say. product: limits that take the place of the tool's, or null.
std::vector<Words> reasonsOfTool(const TestRun& run, const Item& item, const ItemLimits* product);

}  // namespace station
