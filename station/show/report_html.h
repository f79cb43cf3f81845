#pragma once

#include <filesystem>

namespace station {

// One HTML document that loads nothing from anywhere. Throws std::system_error.
void writePage(const std::filesystem::path& results, const std::filesystem::path& page);

}  // namespace station
