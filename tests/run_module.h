#pragma once

#include <string>
#include <vector>

#include "vboard/board.h"

// Runs one procedure of the tool on the board: {"FIELD=VALUE", ..., "procedure", "argument"}.
inline vboard::Run runModule(vboard::VirtualBoard& board, const std::vector<std::string>& arguments) {
    vboard::ToolCommand command = vboard::defaultToolCommand();
    command.program = MODULE_RUNNER;
    command.arguments = arguments;
    return board.run(command);
}
