#include "station/store/folder_scan.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <span>
#include <system_error>

#include "host/descriptor.h"
#include "station/keep/attempt.h"

namespace station {

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t nanosecondsOfASecond = 1'000'000'000;

std::int64_t nanoseconds(const timespec& time) {
    return std::int64_t{time.tv_sec} * nanosecondsOfASecond + time.tv_nsec;
}

RecordMark markAt(int folder, const std::string& record) {
    struct stat status = {};
    if (fstatat(folder, record.c_str(), &status, 0) != 0) {
        const bool isMissing = errno == ENOENT || errno == ENOTDIR;
        return {0, isMissing ? missingRecord : hiddenRecord, 0};
    }
    return {nanoseconds(status.st_mtim), std::int64_t{status.st_size},
            static_cast<std::int64_t>(status.st_ino)};
}

// A folder's time has a grain: what is added within the same tick leaves it as it is.
bool isSettled(std::int64_t time) {
    constexpr std::int64_t grain = 2 * nanosecondsOfASecond;  // the coarsest of any file system
    timespec now = {};
    (void)clock_gettime(CLOCK_REALTIME, &now);
    return time < nanoseconds(now) - grain;
}

std::vector<std::string> folderNames(const fs::path& folder) {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        std::error_code unknown;  // then it is none
        if (entry.is_directory(unknown)) {
            names.push_back(entry.path().filename());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

class Scan {
  public:
    Scan(const fs::path& results, bool trustTimes)
        : results_(results),
          trustTimes_(trustTimes),
          folder_(open(results.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        host::require(folder_.isOpen(), results);
    }

    // known: the unit's attempts; unit: when it was listed.
    void unit(const UnitFolder& unit, std::span<const AttemptFolder> known) {
        struct stat status = {};
        const bool isThere = fstatat(folder_.get(), unit.name.c_str(), &status, 0) == 0;
        // Of its state, which a change of its rights touches as well.
        const std::int64_t time = isThere ? nanoseconds(status.st_ctim) : 0;
        if (trustTimes_ && time != 0 && time == unit.listed) {
            for (const AttemptFolder& attempt : known) {
                (void)look(attempt, true);
            }
            return;
        }
        try {
            list(unit, known, time);
        } catch (const std::system_error&) {
            fail(unit.name, known);
        }
    }

    void gone(std::span<const AttemptFolder> known) {
        changes.gone.insert(changes.gone.end(), known.begin(), known.end());
    }

    FolderChanges changes;

  private:
    void list(const UnitFolder& unit, std::span<const AttemptFolder> known, std::int64_t time) {
        bool isComplete = true;  // every number is an attempt that is known, so nothing can appear unseen
        auto next = known.begin();
        for (const std::string& number : folderNames(results_ / unit.name)) {
            if (attemptNumber(number) == 0) {
                continue;
            }
            for (; next != known.end() && next->number < number; ++next) {
                changes.gone.push_back(*next);
            }
            const bool isKnown = next != known.end() && next->number == number;
            isComplete &=
                look(isKnown ? *next++ : AttemptFolder{unit.name, number, {}, false, false}, isKnown);
        }
        gone(known.subspan(static_cast<std::size_t>(next - known.begin())));
        const bool mayTrust = isComplete && isSettled(time);
        if (!known.empty() || mayTrust) {
            changes.listed.push_back({unit.name, mayTrust ? time : 0});
        }
    }

    // Whether it is an attempt. What stands in a number's folder without a record is one whose record is
    // lost.
    bool look(const AttemptFolder& attempt, bool isKnown) {
        const std::string place = attempt.place();
        const RecordMark mark = markAt(folder_.get(), place + "/record.json");
        if (mark.bytes == missingRecord && !hasLines(place)) {
            if (isKnown) {
                changes.gone.push_back(attempt);
            }
            return false;
        }
        if (mark != attempt.mark || mark.bytes < 0) {
            changes.changed.push_back({attempt.unit, attempt.number, mark, false, false});
        } else if (attempt.mayRun) {
            changes.mayRun.push_back(attempt);
        }
        return true;
    }

    bool hasLines(const std::string& place) const {
        return markAt(folder_.get(), place + "/stream.raw").bytes >= 0 ||
               markAt(folder_.get(), place + "/lines.txt").bytes >= 0;
    }

    void fail(const std::string& unit, std::span<const AttemptFolder> known) {
        gone(known);
        changes.changed.push_back({unit, "", {}, false, false});
    }

    const fs::path& results_;
    bool trustTimes_;
    host::Descriptor folder_;
};

}  // namespace

FolderChanges findChanges(const fs::path& results, const std::vector<AttemptFolder>& attempts,
                          const std::vector<UnitFolder>& units, bool trustTimes) {
    Scan scan(results, trustTimes);
    auto attempt = attempts.begin();
    auto unit = units.begin();
    for (const std::string& name : folderNames(results)) {
        const auto first =
            std::find_if(attempt, attempts.end(), [&](const auto& a) { return a.unit >= name; });
        scan.gone(std::span(attempt, first));
        attempt = std::find_if(first, attempts.end(), [&](const auto& a) { return a.unit != name; });
        for (; unit != units.end() && unit->name < name; ++unit) {
            scan.changes.goneUnits.push_back(unit->name);
        }
        const bool isKnown = unit != units.end() && unit->name == name;
        scan.unit(isKnown ? *unit++ : UnitFolder{name, 0}, std::span(first, attempt));
    }
    scan.gone(std::span(attempt, attempts.end()));
    for (; unit != units.end(); ++unit) {
        scan.changes.goneUnits.push_back(unit->name);
    }
    return std::move(scan.changes);
}

RecordMark markOf(const fs::path& record) {
    return markAt(AT_FDCWD, record);
}

}  // namespace station
