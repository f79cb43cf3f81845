#pragma once

#include <string>

#include "host/toml_section.h"

namespace vboard {

// A table of a scenario, and a scenario that can't be used.
using host::Section;
using ScenarioError = host::TomlError;

// The errno of that key's name, like "EIO"; target stays where the key is not there. Throws ScenarioError.
void readErrorNumber(Section& section, const std::string& key, int& target);

}  // namespace vboard
