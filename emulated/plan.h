#pragma once

#include <string>
#include <vector>

#include "emulated/case.h"
#include "emulated/hardware.h"

namespace emulated {

// What makes a case's board out of a machine that is up, whatever ran on it before.
struct Plan {
    std::vector<std::string> monitor;  // QMP commands
    std::vector<std::string> guest;    // lines of shell for emulated/init, up to the tool's start
};

Plan makePlan(const vboard::VirtualBoard& board, const Case& which, const Hardware& hardware,
              UsbPlugs& plugs);

}  // namespace emulated
