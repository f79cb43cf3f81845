#include "station/store/index_tables.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>
#include <system_error>

#include "host/descriptor.h"
#include "station/store/attempt_writer.h"
#include "station/store/record_reader.h"

namespace station {

namespace {

namespace fs = std::filesystem;

constexpr off_t longestRecord = 64 * 1024 * 1024;  // bytes; the stream it was made of has no more
constexpr std::size_t attemptsAtOnce = 250;        // others wait for as long as these take

// An attempt as its folder says it now: one of the two.
struct ReadFolder {
    AttemptFolder folder;
    std::optional<StoredAttempt> attempt;
    std::string problem;
};

// A record may be anything by now, a pipe that nobody writes to as well.
std::string readRecord(const fs::path& path) {
    const host::Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (!file.isOpen() || fstat(file.get(), &status) != 0) {
        throw NotARecord(strerror(errno));
    }
    if (!S_ISREG(status.st_mode) || status.st_size > longestRecord) {
        throw NotARecord(S_ISREG(status.st_mode) ? "it is longer than any record" : "it is no file");
    }
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    const ssize_t length = read(file.get(), text.data(), text.size());
    if (length < 0) {
        throw NotARecord(strerror(errno));
    }
    text.resize(static_cast<std::size_t>(length));
    return text;
}

// A station holds its stream for as long as it writes.
bool isHeld(const fs::path& stream) {
    const host::Descriptor file(open(stream.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    return file.isOpen() && flock(file.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

ReadFolder readFolder(const fs::path& results, const AttemptFolder& folder) {
    ReadFolder result = {folder, std::nullopt, ""};
    const fs::path path = results / folder.place();
    try {
        if (folder.number.empty()) {
            throw NotARecord("the folder can't be looked into");
        }
        result.attempt = readAttempt(readRecord(path / "record.json"));
        result.attempt->place = folder.place();
        result.folder.mayRun = result.attempt->mayRun;
        result.folder.running = result.attempt->mayRun && isHeld(path / "stream.raw");
        result.attempt->running = result.folder.running;
    } catch (const NotARecord& error) {
        result.problem = error.what();
    }
    return result;
}

class Taker {
  public:
    Taker(Database& index, const fs::path& results) : index_(index), results_(results) {}

    void remove(const AttemptFolder& folder) {
        std::string unit;
        std::string id;
        index_.query("SELECT unit, id FROM folder WHERE unit_folder = $1 AND number_folder = $2",
                     {folder.unit, folder.number}, [&](const Row& row) {
                         unit = row.text(0);
                         id = row.text(1);
                     });
        index_.execute("DELETE FROM folder WHERE unit_folder = $1 AND number_folder = $2",
                       {folder.unit, folder.number});
        if (!id.empty() && placeOf(unit, id) == folder.place()) {
            removeAttempt(unit, id);
            addFromCopy(unit, id);
        }
    }

    void add(const ReadFolder& read) {
        const bool isAttempt = read.attempt.has_value();
        const RecordMark& mark = read.folder.mark;
        index_.execute(
            "INSERT INTO folder (unit_folder, number_folder, time, bytes, inode, may_run, running, unit, id,"
            " problem) VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9, $10)",
            {read.folder.unit, read.folder.number, mark.time, mark.bytes, mark.inode,
             std::int64_t{read.folder.mayRun}, std::int64_t{read.folder.running},
             isAttempt ? read.attempt->unit : "", isAttempt ? read.attempt->id : "", read.problem});
        if (isAttempt) {
            addUnlessCopy(*read.attempt);
        }
    }

    void setRunning(const AttemptFolder& folder, bool isRunning) {
        const SqlValues values = {folder.unit, folder.number, std::int64_t{isRunning}, folder.place()};
        index_.execute("UPDATE folder SET running = $3 WHERE unit_folder = $1 AND number_folder = $2",
                       {values.begin(), values.begin() + 3});
        index_.execute(
            "UPDATE attempt SET running = $3 WHERE place = $4 AND (unit, id) IN"
            " (SELECT unit, id FROM folder WHERE unit_folder = $1 AND number_folder = $2)",
            values);
    }

  private:
    std::string placeOf(const std::string& unit, const std::string& id) {
        std::string place;
        index_.query("SELECT place FROM attempt WHERE unit = $1 AND id = $2", {unit, id},
                     [&](const Row& row) { place = row.text(0); });
        return place;
    }

    void addUnlessCopy(const StoredAttempt& attempt) {
        const std::string place = placeOf(attempt.unit, attempt.id);
        if (!place.empty() && fs::path(place) < fs::path(attempt.place)) {  // "7", before "7-copy"
            return;
        }
        if (!place.empty()) {
            removeAttempt(attempt.unit, attempt.id);
        }
        addAttempt(index_, attempt);
        addMacs(index_, attempt);
        for (const std::string& mac : attempt.macs) {
            setOwner(mac);
        }
    }

    // Another folder that holds the same attempt stands for it from now on.
    void addFromCopy(const std::string& unit, const std::string& id) {
        std::vector<AttemptFolder> copies;
        index_.query(
            "SELECT unit_folder, number_folder FROM folder WHERE id = $1 AND unit = $2"
            " ORDER BY unit_folder, number_folder",
            {id, unit}, [&](const Row& row) {
                copies.push_back({std::string(row.text(0)), std::string(row.text(1)), {}, false, false});
            });
        for (const AttemptFolder& copy : copies) {
            const ReadFolder read = readFolder(results_, copy);
            if (read.attempt && read.attempt->id == id && read.attempt->unit == unit) {
                addUnlessCopy(*read.attempt);
                return;
            }
        }
    }

    void removeAttempt(const std::string& unit, const std::string& id) {
        std::vector<std::string> macs;
        index_.query("SELECT mac FROM mac_use WHERE unit = $1 AND attempt = $2", {unit, id},
                     [&](const Row& row) { macs.emplace_back(row.text(0)); });
        for (const char* const table : {"item", "value", "settlement", "mac_use"}) {
            index_.execute(std::string("DELETE FROM ") + table + " WHERE unit = $1 AND attempt = $2",
                           {unit, id});
        }
        index_.execute("DELETE FROM attempt WHERE unit = $1 AND id = $2", {unit, id});
        for (const std::string& mac : macs) {
            setOwner(mac);
        }
    }

    // Folders come in any order, but the attempt that began first has the address.
    void setOwner(const std::string& mac) {
        index_.execute("DELETE FROM mac_owner WHERE mac = $1", {mac});
        index_.execute(
            "INSERT INTO mac_owner (mac, unit, attempt, started)"
            " SELECT u.mac, u.unit, u.attempt, a.started FROM mac_use u"
            " JOIN attempt a ON a.unit = u.unit AND a.id = u.attempt WHERE u.mac = $1"
            " ORDER BY a.started, a.id LIMIT 1",
            {mac});
    }

    Database& index_;
    const fs::path& results_;
};

constexpr const char* beginWriting = "BEGIN IMMEDIATE";  // waits for its turn now, not in the middle

// The records are read before others have to wait.
void takeOverSome(Database& index, const fs::path& results, std::span<const AttemptFolder> some) {
    std::vector<ReadFolder> read;
    for (const AttemptFolder& folder : some) {
        read.push_back(readFolder(results, folder));
    }
    Transaction transaction(index, beginWriting);
    Taker taker(index, results);
    for (const ReadFolder& one : read) {
        taker.remove(one.folder);
        taker.add(one);
    }
    transaction.commit();
}

void takeOverGone(Database& index, const fs::path& results, const FolderChanges& changes) {
    if (changes.gone.empty() && changes.listed.empty() && changes.goneUnits.empty()) {
        return;
    }
    Transaction transaction(index, beginWriting);
    Taker taker(index, results);
    for (const AttemptFolder& folder : changes.gone) {
        taker.remove(folder);
    }
    for (const std::string& unit : changes.goneUnits) {
        index.execute("DELETE FROM unit_folder WHERE name = $1", {unit});
    }
    for (const UnitFolder& unit : changes.listed) {
        index.execute("INSERT OR REPLACE INTO unit_folder (name, listed) VALUES ($1, $2)",
                      {unit.name, unit.listed});
    }
    transaction.commit();
}

void takeOverRunning(Database& index, const fs::path& results, const FolderChanges& changes) {
    std::vector<std::pair<AttemptFolder, bool>> turned;
    for (const AttemptFolder& folder : changes.mayRun) {
        const bool isRunning = isHeld(results / folder.place() / "stream.raw");
        if (isRunning != folder.running) {
            turned.emplace_back(folder, isRunning);
        }
    }
    if (turned.empty()) {
        return;
    }
    Transaction transaction(index, beginWriting);
    for (const auto& [folder, isRunning] : turned) {
        Taker(index, results).setRunning(folder, isRunning);
    }
    transaction.commit();
}

}  // namespace

void createFolderTables(Database& index) {
    index.execute(
        "CREATE TABLE folder (unit_folder TEXT NOT NULL, number_folder TEXT NOT NULL, time INTEGER NOT NULL,"
        " bytes INTEGER NOT NULL, inode INTEGER NOT NULL, may_run INTEGER NOT NULL, running INTEGER NOT NULL,"
        " unit TEXT NOT NULL, id TEXT NOT NULL, problem TEXT NOT NULL,"
        " PRIMARY KEY (unit_folder, number_folder)) WITHOUT ROWID");
    index.execute("CREATE INDEX folder_id ON folder (id)");
    index.execute(
        "CREATE TABLE unit_folder (name TEXT NOT NULL PRIMARY KEY, listed INTEGER NOT NULL) WITHOUT ROWID");
}

std::vector<AttemptFolder> knownAttempts(Database& index) {
    std::vector<AttemptFolder> attempts;
    index.query(
        "SELECT unit_folder, number_folder, time, bytes, inode, may_run, running FROM folder"
        " ORDER BY unit_folder, number_folder",
        {}, [&](const Row& row) {
            attempts.push_back({std::string(row.text(0)),
                                std::string(row.text(1)),
                                {row.integer(2), row.integer(3), row.integer(4)},
                                row.integer(5) != 0,
                                row.integer(6) != 0});
        });
    return attempts;
}

std::vector<UnitFolder> knownUnits(Database& index) {
    std::vector<UnitFolder> units;
    index.query("SELECT name, listed FROM unit_folder ORDER BY name", {}, [&](const Row& row) {
        units.push_back({std::string(row.text(0)), row.integer(1)});
    });
    return units;
}

std::optional<StoredAttempt> readAttemptAt(const fs::path& results, const std::string& place) {
    const fs::path folder(place);
    return readFolder(results, {folder.parent_path(), folder.filename(), {}, false, false}).attempt;
}

// The times of the units' folders come last: they say that all that was in them is known.
void takeOver(Database& index, const fs::path& results, const FolderChanges& changes) {
    for (std::span<const AttemptFolder> left(changes.changed); !left.empty();) {
        const std::span<const AttemptFolder> some = left.first(std::min(left.size(), attemptsAtOnce));
        takeOverSome(index, results, some);
        left = left.subspan(some.size());
    }
    takeOverGone(index, results, changes);
    takeOverRunning(index, results, changes);
}

}  // namespace station
