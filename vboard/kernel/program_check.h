#pragma once

#include <string>

namespace vboard {

// A tool without the preload library would run on the host, with everything that it does to a board. Throws
// std::runtime_error unless both are ELF files of one machine and the program has a dynamic loader, which
// will bring the library in.
void requireSameMachine(const std::string& programPath, const std::string& libraryPath);

}  // namespace vboard
