#pragma once

#include <filesystem>
#include <string>

#include "station/link/ssh_call.h"

namespace station {

// Brings the tool to that path on the board unless the very same file, by its SHA-256, is there already and
// can be executed. Returns what was done, for a person. Throws WrongUse where it could not be done; what lay
// there before is there still. Throws std::system_error.
std::string uploadTool(const BoardAddress& board, const std::filesystem::path& tool, const std::string& path);

}  // namespace station
