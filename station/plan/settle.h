#pragma once

// What a person says later about an item that was left to one.

#include <filesystem>
#include <string>

#include "station/exit_status.h"

namespace station {

struct SettleRequest {
    std::filesystem::path results;
    std::string attempt;  // UNIT/NUMBER
    std::string item;
    bool passed = false;
    std::string by;
};

// Puts it into record.json and junit.xml, both or neither, beside what was there, and shows the new outcome.
// Returns the exit status of the unit's new outcome. Throws WrongUse where there is nothing to settle: no
// such attempt, one that runs or is incomplete, an item that needs no person; then nothing was changed.
// Throws std::system_error.
ExitStatus settleItem(const SettleRequest& request);

}  // namespace station
