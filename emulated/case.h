#pragma once

#include <string>
#include <vector>

#include "vboard/board.h"

namespace emulated {

// One run of the tool on a scenario's board.
struct Case {
    std::string name;         // of its files, and for people
    std::string scenario;     // name or file
    std::string command;      // words of shell on the machine that start the tool; see emulated/init
    std::string sshKey = "";  // public, of whoever may come in with ssh; "" for nobody
};

// The command that starts the tool with these arguments. Throws std::runtime_error for one that can't be
// quoted.
std::string toolCommand(const std::vector<std::string>& arguments);

// Reads a list of cases: a line each with name, scenario and command, blanks between. Throws
// std::runtime_error.
std::vector<Case> readCases(const std::string& file);

}  // namespace emulated
