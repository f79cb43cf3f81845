#pragma once

#include <string>

#include "station/keep/json.h"
#include "station/show/report_data.h"

namespace station {

// As it may stand between <script> and </script>, whatever a board has printed; what is no UTF-8 becomes
// U+FFFD.
std::string pageJson(const Json& json);

// How many units and attempts there are, for page and --json alike.
Json totalsJson(const ReportData& data);

}  // namespace station
