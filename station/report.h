#pragma once

// All attempts of a results folder, as a table and as one page that needs nothing but itself.

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "run.h"

namespace station {

// One unit's records in the order of its attempts. A folder whose record can't be read counts as an
// incomplete attempt with the lines that are there.
struct UnitHistory {
    std::string name;
    bool bench = false;  // trials without a unit: shown, but in no figure
    std::vector<Json> attempts;
};

std::vector<UnitHistory> readResults(const std::filesystem::path& results);

// How many units were tested, and how many of them passed at their first attempt.
struct Yield {
    size_t units = 0;
    size_t passedFirst = 0;
    size_t passedLast = 0;
};
Yield yieldOf(const std::vector<UnitHistory>& units);

void printTable(std::ostream& output, const std::vector<UnitHistory>& units);
std::string htmlPage(const std::vector<UnitHistory>& units);

}  // namespace station
