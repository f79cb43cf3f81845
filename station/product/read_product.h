#pragma once

// Reads a product file: docs/product.md.

#include <filesystem>
#include <string>

#include "station/product/product.h"

namespace station {

// Throws host::TomlError that names file, line and key, and std::system_error where it can't be read.
Product readProduct(const std::filesystem::path& path);

// The same from a text; the product has no sha256 then.
Product readProductText(const std::string& text, const std::string& file);

}  // namespace station
