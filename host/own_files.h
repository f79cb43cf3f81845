#pragma once

// The files that came with a program.

#include <filesystem>
#include <string>

namespace host {

// The folder that this process's program lies in. Throws std::filesystem::filesystem_error without /proc.
std::filesystem::path programFolder();

// A file that belongs to the program, by its way from the program's folder ("../share/r8/scenarios"): the
// same when installed and in the build folder. Without symbolic links as far as it exists.
std::filesystem::path ownFile(const std::string& way);

}  // namespace host
