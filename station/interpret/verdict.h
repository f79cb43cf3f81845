#pragma once

// What a run is worth: the outcome of each item, and the unit's, from what was read of it.

#include <functional>
#include <optional>

#include "station/interpret/run.h"

namespace station {

// At the end of a run: settles each item, adds to run.reasons why the run can't be trusted to be whole, if it
// can't, and settles the unit's outcome, which is that of the worst item, or incomplete when there are
// reasons. torn: the record stream broke off inside a record. The clock stays with a person.
void settleRun(TestRun& run, const ToolEnd& end, bool torn);

enum class ClockJudge { ask, automatic, leave };

// Settles the clock when the tool left it to a person, and the unit's outcome after it. ask returns the
// person's answer, none when nobody can be asked: the clock stays open then. automatic fails a clock that is
// off by more than two seconds in any of its pairs.
void judgeClock(TestRun& run, ClockJudge judgement, const std::function<std::optional<bool>()>& ask);

}  // namespace station
