#include "report.h"

#include <algorithm>
#include <iomanip>

#include "attempt.h"
#include "live_view.h"
#include "record_files.h"
#include "report_page.h"
#include "text.h"

namespace station {

namespace {

namespace fs = std::filesystem;

constexpr size_t lineHeadBytes = 19;  // seconds and source in lines.txt

// The lines that a killed station left behind, as the one step of its record.
Json linesLeftBehind(const fs::path& folder) {
    Json lines = Json::array();
    if (fs::exists(folder / "lines.txt")) {
        const std::string text = readFile(folder / "lines.txt");
        forEachLine(text, [&](std::string_view line) {
            lines.push_back({{"text", line.substr(std::min(lineHeadBytes, line.size()))}});
        });
    }
    return Json::array({{{"number", nullptr}, {"name", "other"}, {"title", ""}, {"lines", lines}}});
}

Json unreadableRecord(const fs::path& folder, const std::string& reason) {
    return {{"outcome", "incomplete"},
            {"reasons", Json::array({folder.string() + ": " + reason})},
            {"items", Json::array()},
            {"steps", Json::array()}};
}

bool isListOfObjects(const Json& list) {
    return list.is_array() &&
           std::all_of(list.begin(), list.end(), [](const Json& entry) { return entry.is_object(); });
}

Json readRecord(const fs::path& folder) {
    const fs::path path = folder / "record.json";
    if (!fs::exists(path)) {
        return unreadableRecord(folder, "no record yet");
    }
    const Json record = Json::parse(readFile(path), nullptr, false);
    if (!record.is_object() || !isListOfObjects(record.value("items", Json())) ||
        !isListOfObjects(record.value("steps", Json()))) {
        return unreadableRecord(folder, "the record can't be read");
    }
    return record.value("version", Json()) == recordVersion
               ? record
               : unreadableRecord(folder, "the record is of a version that this station does not know");
}

Json readAttempt(const fs::path& folder) {
    Json record = readRecord(folder);
    if (record["steps"].empty()) {
        record["steps"] = linesLeftBehind(folder);
    }
    record["attempt"] = std::stoi(folder.filename());
    return record;
}

bool isAttemptFolder(const fs::directory_entry& entry) {
    const std::string name = entry.path().filename();
    return entry.is_directory() && name.size() < 9 &&
           name.find_first_not_of("0123456789") == std::string::npos;
}

UnitHistory readUnit(const fs::path& folder) {
    UnitHistory unit;
    unit.bench = folder.filename() == unitFolderName(std::nullopt);
    unit.name = unit.bench ? "(bench)" : folder.filename().string();
    std::vector<fs::path> attempts;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        if (isAttemptFolder(entry)) {
            attempts.push_back(entry.path());
        }
    }
    std::sort(attempts.begin(), attempts.end());
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

}  // namespace

std::vector<UnitHistory> readResults(const fs::path& results) {
    std::vector<UnitHistory> units;
    for (const fs::directory_entry& entry : fs::directory_iterator(results)) {
        if (entry.is_directory()) {
            UnitHistory unit = readUnit(entry.path());
            if (!unit.attempts.empty()) {
                units.push_back(std::move(unit));
            }
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
        output << padToWidth(unit.name, 23) << ' ' << padToWidth(std::to_string(unit.attempts.size()), 10)
               << padToWidth(textOf(unit.attempts.front(), "outcome"), 14)
               << padToWidth(textOf(last, "outcome"), 14) << padToWidth(textOf(last, "started"), 22)
               << failedItems(last) << '\n';
    }
    const Yield yield = yieldOf(units);
    output << '\n' << yield.units << " units, " << yield.passedFirst << " passed at their first attempt";
    if (yield.units != 0) {
        output << " (" << std::fixed << std::setprecision(1)
               << 100.0 * static_cast<double>(yield.passedFirst) / static_cast<double>(yield.units) << " %)";
    }
    output << ", " << yield.passedLast << " at their last\n";
}

}  // namespace station
