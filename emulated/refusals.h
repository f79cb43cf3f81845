#pragma once

#include <string>
#include <vector>

#include "vboard/board.h"

namespace emulated {

// What the scenario asks for and an emulated machine with a kernel of its own can't do; empty: it can do all.
std::vector<std::string> refusalsOf(const vboard::VirtualBoard& board);

}  // namespace emulated
