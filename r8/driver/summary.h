#pragma once

#include <stddef.h>
#include <stdint.h>

// What a run is judged by.
struct SummaryItem {
    const char* consoleLabel;  // in the list of what failed; null: never there, and no say in the verdict
    const char* reportLabel;   // in the supervisor's list of all; null: not there
    bool (*failed)();
    const uint32_t* failedPorts = nullptr;  // named instead of the verdict: bit i, port i + 1
};

// In the order of both lists.
struct SummaryItems {
    const SummaryItem* first;
    size_t count;

    const SummaryItem* begin() const { return first; }
    const SummaryItem* end() const { return first + count; }
};

// Ends a full run: emits the verdicts of runResults, and in console mode repeats the overall verdict on the
// board's indicator line (about 7.6 s when passed, 3 s when failed).
void printSummary(const SummaryItems& items);
