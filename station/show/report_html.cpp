#include "station/show/report_html.h"

#include <algorithm>
#include <string>
#include <vector>

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

void writePage(const fs::path& results, const fs::path& page) {
    writeAtomically(page, htmlPage(readResults(results)));
}

}  // namespace station
