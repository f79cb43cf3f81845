#pragma once

// All attempts of a results folder, as a table and as one page that needs nothing but itself.

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "run.h"

namespace station {

// One unit's records in the order of its attempts, never empty. A folder whose record is missing, broken or
// of another version counts as an incomplete attempt with the lines that are there.
struct UnitHistory {
    std::string name;    // as in its records
    bool bench = false;  // trials without a unit: shown, but in no figure
    std::vector<Json> attempts;
};

// Every unit below the folder, the one that was tested last first. What is no attempt's folder is left out.
// Throws std::system_error when the folder or a record can't be read.
std::vector<UnitHistory> readResults(const std::filesystem::path& results);

// How many units were tested, and how many of them passed at their first and at their last attempt. A unit
// that still needs a person has not passed.
struct Yield {
    size_t units = 0;
    size_t passedFirst = 0;
    size_t passedLast = 0;
};
Yield yieldOf(const std::vector<UnitHistory>& units);

// A line for each unit and one with the yield, UTF-8.
void printTable(std::ostream& output, const std::vector<UnitHistory>& units);

// One HTML document that loads nothing from anywhere: station/report_page.html with the records in it.
std::string htmlPage(const std::vector<UnitHistory>& units);

}  // namespace station
