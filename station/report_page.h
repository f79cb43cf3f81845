#pragma once

// Text for the report's page.

#include <string>
#include <string_view>

#include "run.h"

namespace station {

// The text under that key; empty when there is none or it is no text.
std::string textOf(const Json& object, const char* key);

// What a board printed, as it may stand in a page or in an attribute.
std::string escapeHtml(std::string_view text);

}  // namespace station
