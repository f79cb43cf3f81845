#pragma once

// What is known of each item of the tool's summary. Its row stands in a file of its own under
// station/interpret/items, with what reads its lines; docs/adding.md says how one is added. Lines are UTF-8,
// without their line break; any text is safe.

#include <array>
#include <initializer_list>
#include <string>
#include <string_view>

#include "station/interpret/run.h"
#include "station/interpret/verdict_words.h"

namespace station {

enum class Presence {
    everyBoard,      // its step is part of every run
    dependsOnBoard,  // where its step does not come, it is skipped
    whereNamed,      // it is an item only where the summary has a line for it
    onlyAlone,       // no full run has it, only a single test of its own
};

struct ItemRow {
    std::string_view name;            // in the record; of its step as well
    std::string_view title;           // as in the summary line
    std::string_view stepTitle = {};  // as in the step's line; empty: no line announces it
    std::string_view english;
    Presence presence = Presence::everyBoard;

    // Takes over what a line of its step says, on the pipe. A line that shows that something was looked at
    // sets the item's checked, one that a summary of "passed" can't stand beside sets its contradiction, and
    // one that should say something and does not goes to markBroken. Any other is left alone. Null: the
    // step's lines say nothing.
    void (*readLine)(TestRun& run, std::string_view line) = nullptr;
    // The same for what the tool prints beside its records, in any step.
    void (*readConsole)(TestRun& run, std::string_view line) = nullptr;
    // Takes over the summary's word, what stands behind the title's colon. False when it is none of the words
    // that this item can have. Null: its summary line is of another kind.
    bool (*readVerdict)(TestRun& run, Item& item, std::string_view verdict) = readPlainVerdict;
    // Takes over a summary line of another kind; true when it is the item's.
    bool (*readSummaryLine)(TestRun& run, std::string_view line) = nullptr;
    // Why there was nothing to test, although the summary says passed; empty: there was. Null: there always
    // is.
    std::string (*idle)(const TestRun& run) = nullptr;
    // What the values lack to stand behind a summary that says passed; empty: nothing. Null: it has none to
    // lack.
    std::string (*lacks)(const TestRun& run) = nullptr;

    // Its single test, "r8 -o NUMBER"; 0: the tool has none for it. The test says everything on the console,
    // and no summary follows.
    int singleTest = 0;
    // As readLine, of a line of the single test. Null: readLine reads it.
    void (*readSingle)(TestRun& run, std::string_view line) = nullptr;
    // As lacks, of a single test that ended well. Null: lacks says it.
    std::string (*singleLacks)(const TestRun& run) = nullptr;
    // The single test prints nothing when all went well. Called when it has ended well.
    void (*endSilently)(TestRun& run) = nullptr;
    // Only a person can tell how the single test came out.
    bool singleNeedsPerson = false;
    // Nothing in its lines says where a repetition ends and the next one begins.
    bool singleRunsOnce = false;
};

// In the order of the items.
extern const std::array<const ItemRow*, itemCount> itemRows;

// The row whose field has that text; null when there is none, or the text is empty.
const ItemRow* itemWith(std::string_view ItemRow::*field, std::string_view text);

// The row of the tool's single test of that number; null when there is none.
const ItemRow* itemOfSingleTest(int number);

// The item of that row.
Item& itemOf(TestRun& run, const ItemRow& row);

// The step's or item's name in English; empty when the name is not one of ours.
std::string_view englishName(std::string_view name);

// The first text of any line that only the alarm test emits, which no line announces.
bool isAlarmLine(std::string_view line);

// For readers. Remembers the first line of an item's that should say something and does not.
void markBroken(Item& item, std::string_view line);
// For readers of the console: of what the tool could not look at, or could not learn of its board and so
// leaves out, no verdict of its summary says so. One of the texts in the line contradicts it.
void markNotSeen(Item& item, std::string_view line, std::initializer_list<std::string_view> texts);

}  // namespace station
