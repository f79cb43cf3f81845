#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "vboard/board.h"

namespace emulated {

// What makes a scenario's board out of an emulated machine.
struct Plan {
    std::vector<std::string> machine;  // arguments of qemu
    std::vector<std::string> monitor;  // QMP commands before the machine starts
    std::vector<std::string> guest;    // lines of shell for emulated/init, up to the tool's start
};

// Makes the images of the USB disks in the folder. Throws std::runtime_error when that fails.
Plan makePlan(const vboard::VirtualBoard& board, const std::vector<std::string>& toolArguments,
              const std::filesystem::path& folder);

}  // namespace emulated
