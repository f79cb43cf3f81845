#pragma once

// The items of the tool's summary, one row each: adding one begins here (docs/station.md).

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "station/interpret/run.h"

namespace station {

struct ItemRow {
    ItemIndex index;
    std::string_view name;       // in the record; of its step as well
    std::string_view title;      // as in the summary line
    std::string_view stepTitle;  // as in the step's line; empty: the step has none
    std::string_view english;
    bool alwaysRuns;  // on every board; the others depend on it

    // Takes over what a line of its step says, on the pipe. Null: the step's lines say nothing.
    void (*readLine)(TestRun& run, std::string_view line);
    // Takes over the summary's word, what stands behind the title's colon. False when it is none of the words
    // that this item can have. Null: its summary line is of another kind.
    bool (*readVerdict)(TestRun& run, Item& item, std::string_view verdict);
    // Why there was nothing to test, although the summary says passed; empty: there was. Null: there always
    // is.
    std::string (*idle)(const TestRun& run);
    // What the values lack to stand behind a summary that says passed; empty: nothing. Null: it has none to
    // lack.
    std::string (*lacks)(const TestRun& run);
};

extern const std::array<ItemRow, itemCount> itemRows;

// The row whose field has that text; null when there is none, or the text is empty.
const ItemRow* itemWith(std::string_view ItemRow::*field, std::string_view text);

// The step's or item's name in English; empty when the name is not one of ours.
std::string_view englishName(std::string_view name);

}  // namespace station
