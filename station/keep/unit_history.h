#pragma once

// All attempts of a results folder, read again.

#include <filesystem>
#include <string>
#include <vector>

#include "station/keep/json.h"

namespace station {

// One unit's records in the order of its attempts, never empty. A folder whose record is missing, broken or
// of another version counts as an incomplete attempt with the lines that are there.
struct UnitHistory {
    std::string name;    // as in its records
    bool bench = false;  // trials without a unit: shown, but in no figure
    std::vector<Json> attempts;
};

// Every unit below the folder, the one that was tested last first. What is no attempt's folder is left out.
// Throws std::system_error when the folder or a record can't be read.
std::vector<UnitHistory> readResults(const std::filesystem::path& results);

// Records come from a disk that anybody may write to: a value that is no text reads as none.
std::string textOf(const Json& object, const char* key);

}  // namespace station
