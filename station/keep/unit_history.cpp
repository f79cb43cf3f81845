#include "station/keep/unit_history.h"

#include <algorithm>
#include <stdexcept>

#include "station/interpret/text.h"
#include "station/keep/attempt.h"
#include "station/keep/files.h"
#include "station/keep/record_json.h"

namespace station {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t lineHeadBytes = 19;  // seconds and source in lines.txt
constexpr int deepestNesting = 16;         // a record needs six; deeper ones only use up the stack

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

// Version 2 has all of version 1.
bool isKnownVersion(const Json& version) {
    return version.is_number_integer() && version >= 1 && version <= recordVersion;
}

// Whether the page and the table can show it.
bool isRecord(const Json& record) {
    return record.is_object() && isKnownVersion(record.value("version", Json())) &&
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

}  // namespace

std::string textOf(const Json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

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

}  // namespace station
