#pragma once

// What the station runs for one attempt: the tool's full run and single tests of it, in their order.

#include <string>
#include <string_view>
#include <vector>

namespace station {

struct Part {
    int test = 0;  // number of the single test; 0: the full run
    int repetitions = 1;
    double limitSeconds = 0;  // of the tool; 0: the full run's
    bool asks = false;        // the operator judges what no line tells
    double answerSeconds = 0;
};

// The parts that test these items, as the plan has them; what it does not have as the tool has it: its single
// test or, for an item without one, the full run. Throws WrongUse for an item that there is not.
std::vector<Part> partsFor(const std::vector<std::string>& items, const std::vector<Part>& plan);

// The command of the full run with "-o NUMBER [COUNT]" in place of its word netR8test. Throws WrongUse where
// that word is not one of its own, for nobody knows then how the tool is started for a single test, and where
// the tool has no such test.
std::vector<std::string> commandOf(const Part& part, const std::vector<std::string>& fullRun);

// "full run", "Watchdog": for a person, in the board's language or in English.
std::string titleOf(const Part& part, bool english);

// What the operator is asked about an item.
struct OperatorQuestion {
    const char* item;
    const char* chinese;
    const char* english;
    const char* failed;  // the reason when the answer is no
};
// Null: nobody needs to be asked.
const OperatorQuestion* questionAbout(std::string_view item);

}  // namespace station
