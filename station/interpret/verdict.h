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

// The same for a single test: what its lines say has to be there, whole, and the tool has to end well. The
// one item is settled, and added to run.reasons why the test can't be trusted to be whole. The unit's outcome
// stays as it is.
void settleSingleTest(TestRun& run, Item& item, const ToolEnd& end);

// The unit's outcome from all that was settled, of the full run and the single tests.
void settleOutcome(TestRun& run);

// Settles an item that a person has judged. False: it was not left to a person.
bool answerItem(Item& item, bool passed, const std::string& reasonWhenFailed);

enum class ClockJudge { ask, automatic, leave };

// Settles the clock when the tool left it to a person, and the unit's outcome after it. ask returns the
// person's answer, none when nobody can be asked: the clock stays open then. automatic fails a clock that is
// off by more than two seconds in any of its pairs.
void judgeClock(TestRun& run, ClockJudge judgement, const std::function<std::optional<bool>()>& ask);

}  // namespace station
