#pragma once

// Which attempts of a results folder are new, changed or gone, by its directories and what stat says of the
// records: no record is read.

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace station {

constexpr std::int64_t missingRecord = -1;  // in place of its bytes: there is none
constexpr std::int64_t hiddenRecord = -2;   // it is not known whether there is one

// What stat says of a record; any change of the file changes it.
struct RecordMark {
    std::int64_t time = 0;  // of its last change, ns since 1970
    std::int64_t bytes = missingRecord;
    std::int64_t inode = 0;

    bool operator==(const RecordMark&) const = default;
};

// An attempt's folder, UNIT/NUMBER as seen from the results folder.
struct AttemptFolder {
    std::string unit, number;  // names of the two folders; number is empty for a unit's that can't be read
    RecordMark mark;
    bool mayRun = false;  // when it was read last nothing said that it has ended
    bool running = false;

    std::string place() const { return number.empty() ? unit : unit + "/" + number; }
};

// A unit's folder, when it was listed: its time says whether anything was added or taken away since.
struct UnitFolder {
    std::string name;
    std::int64_t listed = 0;  // that of its last change then, ns since 1970; 0: list it again
};

struct FolderChanges {
    std::vector<AttemptFolder> changed;  // new ones too, with their marks of now
    std::vector<AttemptFolder> gone;
    std::vector<UnitFolder> listed;
    std::vector<std::string> goneUnits;
    std::vector<AttemptFolder> mayRun;  // unchanged, but may have begun or ended to run
};

// attempts and units: what is known, both ordered by their names. trustTimes: whether a folder's time changes
// with what is in it, by this machine's clock. Throws std::system_error when the results can't be listed; a
// unit that can't be is one of the changed, without a number.
FolderChanges findChanges(const std::filesystem::path& results, const std::vector<AttemptFolder>& attempts,
                          const std::vector<UnitFolder>& units, bool trustTimes);

// The mark of a record; bytes are missingRecord when there is none.
RecordMark markOf(const std::filesystem::path& record);

}  // namespace station
