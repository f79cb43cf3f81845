#pragma once

// What an item's table of a product file says.

#include "host/toml_section.h"
#include "station/product/product.h"

namespace station {

// Every key of the table is taken. Throws host::TomlError.
ItemLimits readItemLimits(host::Section& section, const std::string& item);

// A text that has to be a pattern; none where the key is not there. Throws host::TomlError.
std::optional<std::string> readPattern(host::Section& section, const std::string& key);

}  // namespace station
