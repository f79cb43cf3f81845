#pragma once

// What is known about one run of the tool: the steps with their lines, the items with their outcomes.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "station/interpret/check.h"
#include "station/interpret/measured.h"

namespace station {

enum class Outcome {
    passed,
    failed,
    skipped,      // the board has nothing to test there, or the step did not run
    needsPerson,  // somebody has to judge it
    incomplete,   // not known: the run broke off or its verdict is missing
};

// "passed", "failed", "skipped", "needs-person", "incomplete": the words of the record.
constexpr std::string_view outcomeName(Outcome outcome) {
    constexpr std::string_view names[] = {"passed", "failed", "skipped", "needs-person", "incomplete"};
    return names[static_cast<std::size_t>(outcome)];
}

// Where a line came from: the report pipe, or the tool's standard output and error.
enum class Source { pipe, console };

struct Line {
    double at = 0;  // seconds since the start
    Source source = Source::pipe;
    std::string text;
};

// The name of a numbered step that is none of those we know.
constexpr std::string_view otherStep = "other";

// A part of the run, from its announcement to the next one. Times are seconds since the start.
struct Step {
    int number = 0;     // as the tool announced it; 0: a part of the run that has no number
    std::string name;   // "network"; "preparation", "summary" around the tests; "other" when not known
    std::string title;  // the board's own text
    double start = 0;
    double end = 0;
    std::vector<Line> lines;
};

// One item of this run. The outcome is settled at the end, from what stands below it.
struct Item {
    const ItemRow* row;
    bool isPart = true;  // the run, as it was started, tests it
    Outcome outcome = Outcome::incomplete;
    std::string reason;           // why it did not simply pass
    std::optional<bool> verdict;  // the summary's word
    bool leftToPerson = false;    // or its word that somebody has to judge
    bool announced = false;       // its step began
    bool checked = false;         // a line of the step shows that something was looked at
    std::string contradiction;    // a line that does not go with a summary that says passed
    std::string broken;           // the first line that should say something and does not
    bool wanted = false;          // the product has it, though this board may not
    std::vector<Check> checks;    // of its values against the product's limits
    std::vector<Words> reasons;   // why it failed or is incomplete: what, measured, expected

    bool isOfThisBoard() const;  // belongs to its run, on this board, at all
};

// Every item, with nothing known of it yet.
std::array<Item, itemCount> itemsBeforeTheRun();

// Who the board says it is; empty: not printed.
struct Board {
    std::vector<std::string> macs;
    std::string pcb;
    std::string cpldDate;
    std::string deviceType;
};

// How the run ended, seen from outside of the tool.
struct ToolEnd {
    std::optional<int> exitStatus = {};
    int signal = 0;  // that killed it
    bool timedOut = false;
    bool interrupted = false;   // the station was told to stop
    std::string brokeOff = {};  // why the way to the tool ended before the tool; empty: it did not
};

// A run has some hundred lines of some bytes; a tool gone wild has no end of them.
constexpr std::size_t mostLines = 20000;
constexpr std::size_t mostTextBytes = 4 * 1024 * 1024;

// What a person has said about an item.
struct Settlement {
    std::string item;
    Outcome outcome;  // passed or failed
    std::string by;
    std::string at;  // UTC, ISO 8601
};

// Everything that the record says about the run. Texts are UTF-8.
struct TestRun {
    std::vector<Step> steps;
    std::array<Item, itemCount> items = itemsBeforeTheRun();
    Measured measured;
    Board board;
    std::vector<std::string> reasons;  // why the run is incomplete; empty: it is complete
    std::vector<std::string> unknown;  // see addUnknown
    Outcome outcome = Outcome::incomplete;
    std::uint64_t lostLines = 0;  // records that the tool could not write
    bool arrived = false;         // a record came
    bool ended = false;           // the end marker came
    double seconds = 0;
    bool isSingle = false;  // of a single test
    int repetitions = 1;    // of one
    std::vector<Settlement> settled;
    std::vector<TestRun> singles;  // the plan's single tests, each with its one item

    // By the struct of its values.
    template <typename Values>
    Item& item() {
        return items[indexOf<Values>()];
    }
    template <typename Values>
    const Item& item() const {
        return items[indexOf<Values>()];
    }
    template <typename Values>
    Values& values() {
        return std::get<Values>(measured);
    }
    template <typename Values>
    const Values& values() const {
        return std::get<Values>(measured);
    }

    // Remembers a text where only known ones may stand; the first few, for a tool gone wild has no end of
    // them.
    void addUnknown(std::string_view text) {
        constexpr std::size_t mostUnknown = 10;
        if (unknown.size() < mostUnknown) {
            unknown.emplace_back(text);
        }
    }

  private:
    template <typename Values, std::size_t index = 0>
    static constexpr std::size_t indexOf() {
        if constexpr (std::is_same_v<Values, std::tuple_element_t<index, Measured>>) {
            return index;
        } else {
            return indexOf<Values, index + 1>();
        }
    }
};

}  // namespace station
