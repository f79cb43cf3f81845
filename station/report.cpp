#include "report.h"

#include <algorithm>
#include <iomanip>
#include <stdexcept>

#include "attempt.h"
#include "files.h"
#include "record_files.h"
#include "report_page.h"
#include "text.h"

namespace station {

namespace {

namespace fs = std::filesystem;

constexpr size_t lineHeadBytes = 19;  // seconds and source in lines.txt
constexpr std::string_view dataMark = "@DATA@";
constexpr int deepestNesting = 16;         // a record needs six; deeper ones only use up the stack
constexpr size_t attemptsWithLines = 500;  // the newest: a browser has to hold the page

// Records come from a disk that anybody may write to: a value that is no text reads as none.
std::string textOf(const Json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

// The lines that a killed station left behind, as the one step of its record.
Json linesLeftBehind(const fs::path& folder) {
    Json lines = Json::array();
    if (fs::is_regular_file(folder / "lines.txt")) {
        const std::string text = readFile(folder / "lines.txt");
        forEachLine(text, [&](std::string_view line) {
            lines.push_back({{"text", line.substr(std::min(lineHeadBytes, line.size()))}});
        });
    }
    return Json::array({{{"name", "other"}, {"lines", lines}}});
}

bool isListOf(const Json& list, bool (*fits)(const Json&)) {
    return list.is_array() && std::all_of(list.begin(), list.end(), fits);
}

bool isLine(const Json& line) {
    return line.is_object() && line.value("text", Json()).is_string();
}

bool isItem(const Json& item) {
    return item.is_object() && item.value("name", Json()).is_string();
}

bool isStep(const Json& step) {
    return isItem(step) && isListOf(step.value("lines", Json()), isLine);
}

Json parseRecord(const fs::path& path) {
    const auto checkDepth = [](int depth, Json::parse_event_t, Json&) {
        return depth <= deepestNesting ? true : throw std::runtime_error("nested deeper than any record");
    };
    return Json::parse(readFile(path), checkDepth);
}

// Whether the page and the table can show it.
bool isRecord(const Json& record) {
    return record.is_object() && record.value("version", Json()) == recordVersion &&
           isListOf(record.value("items", Json()), isItem) &&
           isListOf(record.value("steps", Json()), isStep) && record.value("reasons", Json()).is_array() &&
           record.value("started", Json()).is_string();
}

// The record, or what stands for one that is missing or says nothing that we could show.
Json readRecord(const fs::path& folder) {
    std::string why = "no record that this station can read";
    try {
        const Json record = parseRecord(folder / "record.json");
        if (isRecord(record)) {
            return record;
        }
    } catch (const std::exception& error) {
        why += std::string(": ") + error.what();
    }
    return {{"outcome", "incomplete"},
            {"reasons", {folder.string() + ": " + why}},
            {"items", Json::array()},
            {"steps", Json::array()}};
}

Json readAttempt(const fs::path& folder) {
    Json record = readRecord(folder);
    if (record["steps"].empty()) {
        record["steps"] = linesLeftBehind(folder);
    }
    record["attempt"] = attemptNumber(folder);
    return record;
}

UnitHistory readUnit(const fs::path& folder) {
    UnitHistory unit;
    unit.bench = folder.filename() == unitFolderName(std::nullopt);
    unit.name = unit.bench ? "(bench)" : folder.filename().string();
    std::vector<fs::path> attempts;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        if (entry.is_directory() && attemptNumber(entry.path()) != 0) {
            attempts.push_back(entry.path());
        }
    }
    std::sort(attempts.begin(), attempts.end(), [](const fs::path& one, const fs::path& other) {
        return attemptNumber(one) < attemptNumber(other);
    });
    for (const fs::path& attempt : attempts) {
        unit.attempts.push_back(readAttempt(attempt));
        const std::string name = textOf(unit.attempts.back(), "unit");
        unit.name = name.empty() ? unit.name : name;
    }
    return unit;
}

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

}  // namespace

std::vector<UnitHistory> readResults(const fs::path& results) {
    std::vector<UnitHistory> units;
    for (const fs::directory_entry& entry : fs::directory_iterator(results)) {
        UnitHistory unit = entry.is_directory() ? readUnit(entry.path()) : UnitHistory();
        if (!unit.attempts.empty()) {
            units.push_back(std::move(unit));
        }
    }
    const auto lastStart = [](const UnitHistory& unit) { return textOf(unit.attempts.back(), "started"); };
    std::sort(units.begin(), units.end(), [&](const UnitHistory& one, const UnitHistory& other) {
        return std::pair(lastStart(other), one.name) < std::pair(lastStart(one), other.name);
    });
    return units;
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

}  // namespace station
