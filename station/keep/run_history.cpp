#include "station/keep/run_history.h"

#include <algorithm>
#include <fstream>
#include <system_error>

#include "station/keep/files.h"
#include "station/keep/json.h"

namespace station {

namespace {

constexpr const char* historyName = "last-run.json";

}  // namespace

RunHistory readHistory(const std::filesystem::path& results) {
    const std::filesystem::path path = results / historyName;
    const Json history =
        std::filesystem::is_regular_file(path) ? Json::parse(std::ifstream(path), nullptr, false) : Json();
    if (!history.is_object() || !history.value("steps", Json()).is_number() ||
        !history.value("seconds", Json()).is_number()) {
        return {};
    }
    return {history["steps"].get<int>(), history["seconds"].get<double>()};
}

double defaultLimit(const RunHistory& history) {
    constexpr double shortest = 180;
    constexpr double longest = 1e6;  // as --timeout takes
    constexpr double runs = 5;
    return std::clamp(runs * history.seconds, shortest, longest);
}

void writeHistory(const std::filesystem::path& results, const TestRun& run, double seconds) {
    int steps = 0;
    for (const Step& step : run.steps) {
        steps = std::max(steps, step.number);
    }
    try {
        writeAtomically(results / historyName, Json({{"steps", steps}, {"seconds", seconds}}).dump() + "\n");
    } catch (const std::system_error&) {
        // Whoever tests the next unit sees no remaining time; this unit's record is what counts.
    }
}

}  // namespace station
