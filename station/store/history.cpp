#include "station/store/history.h"

#include <algorithm>
#include <ctime>
#include <vector>

#include "station/keep/attempt.h"
#include "station/keep/files.h"
#include "station/keep/record_file.h"
#include "station/keep/unit_history.h"

namespace station {

namespace {

namespace fs = std::filesystem;

struct PastAttempt {
    int number = 0;
    Json record;

    bool isWhole() const { return !record.contains("only"); }
    bool has(const char* outcome) const { return isWhole() && textOf(record, "outcome") == outcome; }
};

// One whose station died without a record had no tool that started.
PastAttempt readPast(const fs::path& folder) {
    try {
        return {attemptNumber(folder), readRecordFile(folder / "record.json")};
    } catch (const std::exception& error) {
        throw UnknownHistory(folder.string() + ": " + error.what());
    }
}

// In their order.
std::vector<PastAttempt> attemptsIn(const fs::path& unitFolder) {
    std::vector<PastAttempt> attempts;
    if (!fs::exists(unitFolder)) {
        return attempts;
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(unitFolder)) {
        if (attemptNumber(entry.path()) != 0) {
            attempts.push_back(readPast(entry.path()));
        }
    }
    std::sort(attempts.begin(), attempts.end(),
              [](const PastAttempt& one, const PastAttempt& other) { return one.number < other.number; });
    return attempts;
}

bool isToday(const std::string& started) {
    std::tm parts = {};
    if (strptime(started.c_str(), "%Y-%m-%dT%H:%M:%SZ", &parts) == nullptr) {
        return false;
    }
    const std::time_t then = timegm(&parts);
    const std::time_t now = std::time(nullptr);
    std::tm day = {};
    std::tm today = {};
    (void)localtime_r(&then, &day);
    (void)localtime_r(&now, &today);
    return day.tm_year == today.tm_year && day.tm_yday == today.tm_yday;
}

bool hasMac(const Json& record, const std::string& mac) {
    const Json board = record.value("board", Json::object());
    const Json macs = board.is_object() ? board.value("macs", Json::array()) : Json::array();
    return std::any_of(macs.begin(), macs.end(), [&mac](const Json& one) { return one == mac; });
}

}  // namespace

int FolderHistory::passedBefore(const std::string& unit) const {
    int number = 0;
    for (const PastAttempt& attempt : attemptsIn(results_ / unitFolderName(unit))) {
        number = attempt.has("passed") ? attempt.number : number;
    }
    return number;
}

int FolderHistory::failedAttempts(const std::string& unit) const {
    int failed = 0;
    for (const PastAttempt& attempt : attemptsIn(results_ / unitFolderName(unit))) {
        failed = attempt.isWhole() && attempt.record.contains("repaired") ? 0 : failed;
        failed += attempt.has("failed");
    }
    return failed;
}

bool FolderHistory::hasPassedWith(const std::string& mac, const std::string& unit) const {
    const std::vector<PastAttempt> attempts = attemptsIn(results_ / unitFolderName(unit));
    return std::any_of(attempts.begin(), attempts.end(), [&mac](const PastAttempt& attempt) {
        return attempt.has("passed") && hasMac(attempt.record, mac);
    });
}

std::string FolderHistory::ownerOfMac(const std::string& mac, const std::string& unit) const {
    for (const fs::directory_entry& entry : fs::directory_iterator(results_)) {
        const std::string folder = entry.path().filename();
        if (!entry.is_directory() || folder == unitFolderName(unit) ||
            folder == unitFolderName(std::nullopt)) {
            continue;
        }
        for (const PastAttempt& attempt : attemptsIn(entry.path())) {
            if (hasMac(attempt.record, mac) && (attempt.has("passed") || !hasPassedWith(mac, unit))) {
                const std::string name = textOf(attempt.record, "unit");
                return name.empty() ? folder : name;
            }
        }
    }
    return "";
}

bool FolderHistory::passedToday(const std::string& unit) const {
    const std::vector<PastAttempt> attempts = attemptsIn(results_ / unitFolderName(unit));
    return std::any_of(attempts.begin(), attempts.end(), [](const PastAttempt& attempt) {
        // Without a product nothing told its station what to expect.
        return attempt.has("passed") && attempt.record.value("product", Json()).is_object() &&
               isToday(textOf(attempt.record, "started"));
    });
}

}  // namespace station
