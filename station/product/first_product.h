#pragma once

#include <string>
#include <vector>

#include "station/interpret/run.h"

namespace station {

// A first product file from what a good unit has: TOML with comments, to be looked at and edited, which that
// unit passes. unit: its serial number, empty on a bench. singleItems: of the single tests of its plan.
std::string firstProduct(const std::string& unit, const TestRun& run,
                         const std::vector<std::string>& singleItems);

}  // namespace station
