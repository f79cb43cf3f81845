#include "station/keep/record_file.h"

#include <algorithm>
#include <stdexcept>

#include "station/keep/files.h"

namespace station {

namespace {

constexpr int deepestRecordNesting = 16;                      // a record needs eight
constexpr std::uintmax_t mostRecordBytes = 64 * 1024 * 1024;  // a run's lines are at most 4 MiB

bool isNamed(const Json& item) {
    return item.is_object() && item.value("name", Json()).is_string() &&
           item.value("outcome", Json()).is_string();
}

bool looksLikeRecord(const Json& record) {
    if (!record.is_object() || !record.value("outcome", Json()).is_string() ||
        !record.value("started", Json()).is_string() || !record.value("reasons", Json()).is_array()) {
        return false;
    }
    const Json items = record.value("items", Json());
    return items.is_array() && std::all_of(items.begin(), items.end(), isNamed);
}

}  // namespace

Json readRecordFile(const std::filesystem::path& path) {
    if (std::filesystem::file_size(path) > mostRecordBytes) {
        throw std::runtime_error("longer than any record");
    }
    const auto checkDepth = [](int depth, Json::parse_event_t, Json&) {
        return depth <= deepestRecordNesting ? true
                                             : throw std::runtime_error("nested deeper than any record");
    };
    Json record = Json::parse(readFile(path), checkDepth);
    if (!looksLikeRecord(record)) {
        throw std::runtime_error("no record that this station can read");
    }
    return record;
}

}  // namespace station
