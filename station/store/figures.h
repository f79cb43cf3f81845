#pragma once

// The report's figures as SQL that SQLite and PostgreSQL both take. Each has its denominators with it.

#include <optional>
#include <string>
#include <vector>

#include "station/store/database.h"

namespace station {

// What a figure is made of; without anything set, everything there is, with days in UTC.
struct FigureSource {
    std::string judged = "judged";        // a relation with the columns of that view
    std::string attempts = "outcome";     // the same
    std::string day = "started / 86400";  // number of the day that an attempt belongs to, of its started
};

// What the reader wants to see. Empty: all.
struct Selection {
    std::optional<std::int64_t> since;  // seconds since 1970
    std::string product;
    std::string unit;
    std::string station;
    std::string item;  // attempts in which it was tested, judged by its outcome alone
};

// A selection's source with the values of its parameters.
struct SelectedSource {
    FigureSource source;
    SqlValues parameters;
};
SelectedSource selectedSource(const Selection& selection);

// From when on this machine's zone is so many seconds ahead of UTC.
struct ZoneOffset {
    std::int64_t from = 0;
    std::int64_t seconds = 0;
};

// Those between two times, in their order; the first one begins with the first time.
std::vector<ZoneOffset> zoneOffsets(std::int64_t first, std::int64_t last);

// The day in the reader's time zone, right from the first start until the last, whatever its offset did
// between them.
std::string localDay(std::int64_t first, std::int64_t last);

// day, product, units that were judged for the first time, and how many of them passed.
std::string yieldByDay(const FigureSource& source);

// One row: units, units judged for the first time, how many of them passed, units that passed at their last
// attempt, attempts, retests (attempts that were not the unit's first).
std::string totals(const FigureSource& source);

// item, attempts in which it failed, attempts in which it was tested.
std::string itemFailures(const FigureSource& source);

// product, attempts, and their seconds: median and the 90th percentile (nearest rank).
std::string durations(const FigureSource& source);

// product, item, value, day, how many; lowest, mean and highest; how many were outside their limits; the
// widest limits.
std::string valueTrend(const FigureSource& source);

// reasons, how many, latest start: what was broken off or is not known, of whole runs.
std::string incompleteRuns(const FigureSource& source);

// How many are no full run of a unit, and in none of the figures above: outcome, running, partial, bench (all
// flags), how many.
std::string otherRuns(const FigureSource& source);

// unit, id, number, start, outcome, product, station, running, partial of every attempt, ordered by unit and
// start.
std::string attemptList(const FigureSource& source);

// unit, id, item of each failed item of these attempts, ordered by unit and the item's place in the record.
std::string failedItems(const FigureSource& source);

}  // namespace station
