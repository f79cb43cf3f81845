#pragma once

// RESULTS/last-run.json, a guess for the view and no more.

#include <filesystem>

#include "station/interpret/run.h"

namespace station {

// How long the last complete run on this results folder was.
struct RunHistory {
    int steps = 0;       // numbered ones; 0: no run yet
    double seconds = 0;  // of the full run, without the plan's single tests
};

// Seconds after which a run is ended when nobody says otherwise: five times the last one, at least three
// minutes.
double defaultLimit(const RunHistory& history);

// What can't be read says nothing, what can't be written is left.
RunHistory readHistory(const std::filesystem::path& results);
void writeHistory(const std::filesystem::path& results, const TestRun& run, double seconds);

}  // namespace station
