#pragma once

// Only for what writes records and reads them again: it takes long to compile, and no verdict depends on it.

#include <nlohmann/json.hpp>

namespace station {

using Json = nlohmann::ordered_json;

}  // namespace station
