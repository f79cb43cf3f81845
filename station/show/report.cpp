#include "station/show/report.h"

#include <algorithm>
#include <iomanip>
#include <string>
#include <vector>

#include "station/interpret/text.h"
#include "station/keep/files.h"
#include "station/keep/unit_history.h"
#include "station/show/report_page.h"

namespace station {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view dataMark = "@DATA@";
constexpr std::size_t attemptsWithLines = 500;  // the newest: a browser has to hold the page

// How many units were tested, and how many of them passed at their first and at their last attempt.
struct Yield {
    std::size_t units = 0;
    std::size_t passedFirst = 0;
    std::size_t passedLast = 0;
};

std::string failedItems(const Json& attempt) {
    std::string names;
    for (const Json& item : attempt["items"]) {
        if (textOf(item, "outcome") == "failed") {
            names += (names.empty() ? "" : ", ") + textOf(item, "name");
        }
    }
    return names;
}

// When the oldest attempt started that keeps its lines on the page.
std::string oldestWithLines(const std::vector<UnitHistory>& units) {
    std::vector<std::string> starts;
    for (const UnitHistory& unit : units) {
        for (const Json& attempt : unit.attempts) {
            starts.push_back(textOf(attempt, "started"));
        }
    }
    std::sort(starts.rbegin(), starts.rend());
    return starts.size() > attemptsWithLines ? starts[attemptsWithLines - 1] : "";
}

// A terminal does what control characters say, and a line break would add a row.
std::string cell(const std::string& text) {
    std::string line = utf8FromEither(text);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\n' || c == '\t'; }, ' ');
    return line;
}

Yield yieldOf(const std::vector<UnitHistory>& units) {
    Yield yield;
    for (const UnitHistory& unit : units) {
        if (!unit.bench) {
            ++yield.units;
            yield.passedFirst += textOf(unit.attempts.front(), "outcome") == "passed";
            yield.passedLast += textOf(unit.attempts.back(), "outcome") == "passed";
        }
    }
    return yield;
}

void printTable(std::ostream& output, const std::vector<UnitHistory>& units) {
    output << padToWidth("unit", 24) << padToWidth("attempts", 10) << padToWidth("first", 14)
           << padToWidth("last", 14) << padToWidth("when", 22) << "failed\n";
    for (const UnitHistory& unit : units) {
        const Json& last = unit.attempts.back();
        output << padToWidth(cell(unit.name), 23) << ' '
               << padToWidth(std::to_string(unit.attempts.size()), 10)
               << padToWidth(cell(textOf(unit.attempts.front(), "outcome")), 14)
               << padToWidth(cell(textOf(last, "outcome")), 14)
               << padToWidth(cell(textOf(last, "started")), 22) << cell(failedItems(last)) << '\n';
    }
    const Yield yield = yieldOf(units);
    output << '\n' << yield.units << " units, " << yield.passedFirst << " passed at their first attempt";
    if (yield.units != 0) {
        output << " (" << std::fixed << std::setprecision(1)
               << 100.0 * static_cast<double>(yield.passedFirst) / static_cast<double>(yield.units) << " %)";
    }
    output << ", " << yield.passedLast << " at their last\n";
}

std::string htmlPage(const std::vector<UnitHistory>& units) {
    const Yield yield = yieldOf(units);
    Json data = {
        {"yield",
         {{"units", yield.units}, {"passedFirst", yield.passedFirst}, {"passedLast", yield.passedLast}}},
        {"units", Json::array()}};
    const std::string oldest = oldestWithLines(units);
    for (const UnitHistory& unit : units) {
        Json attempts = unit.attempts;
        for (Json& attempt : attempts) {
            if (textOf(attempt, "started") < oldest) {
                attempt["steps"] = Json::array();
            }
        }
        data["units"].push_back({{"name", unit.name}, {"bench", unit.bench}, {"attempts", attempts}});
    }
    std::string text;
    for (const char character : data.dump(-1, ' ', false, Json::error_handler_t::replace)) {
        if (character == '<') {
            text += "\\u003c";  // a board that prints "</script>" must not end the data
        } else {
            text += character;
        }
    }
    std::string page = reportPage;
    return page.replace(page.find(dataMark), dataMark.size(), text);
}

}  // namespace

void writeReport(const fs::path& results, const fs::path& page, std::ostream& table) {
    const std::vector<UnitHistory> units = readResults(results);
    printTable(table, units);
    writeAtomically(page, htmlPage(units));
}

}  // namespace station
