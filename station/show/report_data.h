#pragma once

// What the report shows, asked of a database: the index beside the folders, or one of many stations.

#include <cstdint>
#include <deque>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "station/store/figures.h"

namespace station {

// A unit's attempts in one line. Trials on a bench are one unit without a name. There may be a hundred
// thousand, so texts that come again and again stand once, in the report's texts.
struct UnitLine {
    std::string unit;
    std::int64_t attempts = 0;
    std::string_view first, last;  // outcomes
    std::int64_t lastStarted = 0;
    std::string lastAttempt;            // id
    std::string_view product, station;  // of the last
    std::string_view failed;            // items of the last, with commas between them
};

struct Totals {
    std::int64_t units = 0;       // with an attempt that counts
    std::int64_t firstUnits = 0;  // of them, those whose first one is among the selected
    std::int64_t passedFirst = 0;
    std::int64_t passedLast = 0;
    std::int64_t attempts = 0;
    std::int64_t retests = 0;
};

struct ItemFailures {
    std::string item;
    std::int64_t failed = 0;
    std::int64_t tested = 0;
};

struct IncompleteRuns {
    std::string reason;
    std::int64_t runs = 0;
    std::int64_t latest = 0;
};

// Attempts that are in none of the figures.
struct OtherRuns {
    std::int64_t running = 0;
    std::int64_t partial = 0;
    std::int64_t bench = 0;
    std::int64_t needsPerson = 0;
    std::int64_t incomplete = 0;
};

struct ReportData {
    ReportData() = default;
    ReportData(ReportData&&) = default;
    ReportData& operator=(ReportData&&) = default;

    std::set<std::string, std::less<>> texts;
    Totals totals;
    OtherRuns others;
    std::vector<ItemFailures> items;         // the most frequent first; only those that have failed
    std::vector<IncompleteRuns> incomplete;  // the same
    std::deque<UnitLine> units;              // the one that was tested last first
    std::int64_t firstStart = 0, lastStart = 0;
};

// Throws DatabaseError.
ReportData readReport(Database& database, const SelectedSource& selected);

}  // namespace station
