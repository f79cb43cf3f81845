#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "vboard/scenario/section.h"

namespace vboard {

class VirtualBoard;

// Where the scenarios of the project lie, unless VBOARD_SCENARIOS says otherwise.
std::filesystem::path scenarioFolder();

// The scenarios there with what each one shows, or why it can't be read, by name.
std::vector<std::pair<std::string, std::string>> listScenarios();

// Sets the board's fields from a scenario: a file, or the name of one in the scenario folder. A scenario with
// a base starts from that one. Throws ScenarioError.
void loadScenario(VirtualBoard& board, const std::string& nameOrFile);

// The same from a text; file is for messages and for finding a base next to it.
void loadScenarioText(VirtualBoard& board, const std::string& text, const std::string& file);

}  // namespace vboard
