#pragma once

#include <string>

#include "station/keep/json.h"

namespace station {

// As it may stand between <script> and </script>, whatever a board has printed; what is no UTF-8 becomes
// U+FFFD.
std::string pageJson(const Json& json);

}  // namespace station
