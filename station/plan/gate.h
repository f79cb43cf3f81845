#pragma once

// What a unit has to be before it is tested.

#include <optional>
#include <string>
#include <vector>

#include "station/keep/attempt_info.h"
#include "station/store/history.h"

namespace station {

// What the product asks for.
struct GateRules {
    std::string serialPattern = {};
    bool serialFits = true;
    std::optional<int> failedAttemptsAllowed = {};
    std::optional<std::string> goldenUnit = {};  // to be run each day
};

// What the person at the station says to it, by the options of the same names.
struct GateOptions {
    bool anySerial = false;
    bool again = false;
    bool noGolden = false;
    std::string repaired = {};  // the note
};

// Returns what was overridden. Throws WrongUse with the option that would, where nobody did. The golden unit
// itself may be run as often as wanted, and a part of the plan asks for nothing but the serial.
std::vector<GateOverride> passGate(const GateRules& rules, const GateOptions& options, const History& history,
                                   const AttemptInfo& info);

}  // namespace station
