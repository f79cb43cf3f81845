#include "station/store/results_index.h"

#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <optional>

#include "station/keep/files.h"
#include "station/store/folder_scan.h"
#include "station/store/index_tables.h"
#include "station/store/schema.h"
#include "station/store/sqlite.h"

namespace station {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr const char* indexName = "index.sqlite";
constexpr std::chrono::milliseconds readerPatience = 10s;
constexpr std::chrono::milliseconds unitPatience = 200ms;  // the next unit is waiting

// File systems of other machines, by what statfs calls them: NFS, SMB (three of its names), AFS, CODA, NCP,
// 9P, CEPH, LUSTRE, GPFS, OCFS2, GFS2, FUSE, folders of a virtual machine's host.
constexpr std::uint32_t networkFileSystems[] = {0x6969,     0x517B,     0xFE534D42, 0xFF534D42, 0x5346414F,
                                                0x73757245, 0x564C,     0x01021997, 0x00C36400, 0x0BD00BD0,
                                                0x47504653, 0x7461636F, 0x01161970, 0x65735546, 0x786F4256};

bool isOnNetwork(const fs::path& folder) {
    struct statfs status = {};
    return statfs(folder.c_str(), &status) == 0 &&
           std::find(std::begin(networkFileSystems), std::end(networkFileSystems),
                     static_cast<std::uint32_t>(status.f_type)) != std::end(networkFileSystems);
}

// Where the station's own files may go that can be made again; empty when there is no such place.
fs::path cacheFolder() {
    const char* const cache = std::getenv("XDG_CACHE_HOME");
    const char* const home = std::getenv("HOME");
    const fs::path base = cache != nullptr && *cache == '/' ? fs::path(cache)
                          : home != nullptr && *home == '/' ? fs::path(home) / ".cache"
                                                            : fs::path();
    return base.empty() ? base : base / "r8-station";
}

fs::path cachedIndexPath(const fs::path& results) {
    const fs::path folder = cacheFolder();
    const std::string name = sha256OfText(fs::canonical(results).string()).substr(0, 16) + ".sqlite";
    return folder.empty() ? folder : folder / name;
}

// Several stations may come here at once: the one that gets the lock makes the tables.
void makeTables(Database& index) {
    Transaction transaction(index, "BEGIN IMMEDIATE");
    if (schemaVersionOf(index) != schemaVersion) {
        createSchema(index);
        createFolderTables(index);
    }
    transaction.commit();
}

void removeFiles(const fs::path& file) {
    for (const char* const suffix : {"", "-wal", "-shm"}) {
        (void)unlink((file.string() + suffix).c_str());  // it may not be there
    }
}

// A file that is no database at all can't even be emptied.
void empty(std::unique_ptr<Sqlite>& index, const fs::path& file, std::chrono::milliseconds patience) {
    try {
        index->reset();
    } catch (const DatabaseError& error) {
        if (error.trouble == Trouble::busy) {
            throw;
        }
        index.reset();
        removeFiles(file);
        index = std::make_unique<Sqlite>(file, patience);
    }
}

// The index in that file, made anew when it is of another version or makeAnew says so. An empty path is one
// in memory.
std::unique_ptr<Sqlite> openIndex(const fs::path& file, std::chrono::milliseconds patience, bool makeAnew) {
    auto index = std::make_unique<Sqlite>(file, patience);
    const bool isNew = file.empty() || !fs::exists(file) || fs::file_size(file) == 0;
    if (!isNew && (makeAnew || schemaVersionOf(*index) != schemaVersion)) {
        empty(index, file, patience);
    }
    index->script("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; PRAGMA cache_size = -4000;");
    makeTables(*index);
    return index;
}

void refresh(Database& index, const fs::path& results) {
    takeOver(index, results,
             findChanges(results, knownAttempts(index), knownUnits(index), !isOnNetwork(results)));
}

// Whether there is anything to keep an index of. A folder that holds no attempts gets no file of ours.
bool holdsAttempts(const fs::path& results) {
    return !findChanges(results, {}, {}, false).changed.empty();
}

// Where the index may lie, the best place first; empty is memory.
std::vector<fs::path> placesFor(const fs::path& results) {
    std::vector<fs::path> places = {indexPath(results)};
    if (!fs::exists(places.front()) && !holdsAttempts(results)) {
        return {""};
    }
    if (!isOnNetwork(results)) {
        places.push_back(cachedIndexPath(results));
    }
    places.emplace_back();
    return places;
}

// Whether the folder is there in which the index is to lie.
bool prepareFolder(const fs::path& file) {
    std::error_code error;
    (void)fs::create_directories(file.parent_path(), error);
    return !error;
}

// Throws what the database says when it can't be used there, even made anew.
void useIndexAt(const fs::path& file, const fs::path& results, bool makeAnew,
                const std::function<void(Database&)>& use) {
    try {
        const auto index = openIndex(file, readerPatience, makeAnew);
        refresh(*index, results);
        use(*index);
    } catch (const DatabaseError& error) {
        if (error.trouble != Trouble::broken || makeAnew) {
            throw;
        }
        useIndexAt(file, results, true, use);
    }
}

}  // namespace

fs::path indexPath(const fs::path& results) {
    return isOnNetwork(results) ? cachedIndexPath(results) : results / indexName;
}

void useIndex(const fs::path& results, const std::function<void(Database&)>& use) {
    for (const fs::path& file : placesFor(results)) {
        if (file.empty()) {
            return useIndexAt(file, results, true, use);
        }
        try {
            if (prepareFolder(file)) {
                return useIndexAt(file, results, false, use);
            }
        } catch (const DatabaseError&) {
            // The next place will do, memory at last: the folders are the truth.
        }
    }
}

bool rebuildIndex(const fs::path& results) {
    const fs::path file = indexPath(results);
    if (file.empty() || !prepareFolder(file)) {
        return false;
    }
    try {
        useIndexAt(file, results, true, [](Database&) {});
        return true;
    } catch (const DatabaseError&) {
        return false;
    }
}

void noteAttempt(const fs::path& results, const fs::path& attempt) {
    try {
        const fs::path file = indexPath(results);
        if (file.empty() || !prepareFolder(file)) {
            return;
        }
        Sqlite index(file, unitPatience);
        index.script("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;");
        makeTables(index);
        FolderChanges changes;
        changes.changed.push_back({attempt.parent_path().filename(), attempt.filename(),
                                   markOf(attempt / "record.json"), false, false});
        takeOver(index, results, changes);
    } catch (const std::exception&) {
        // Broken, full, busy: whoever reads makes it good.
    }
}

std::vector<Unreadable> unreadableAttempts(Database& index) {
    std::vector<Unreadable> unreadable;
    index.query(
        "SELECT unit_folder, number_folder, problem FROM folder WHERE problem <> ''"
        " ORDER BY unit_folder, number_folder",
        {}, [&](const Row& row) {
            const std::string number(row.text(1));
            unreadable.push_back(
                {std::string(row.text(0)) + (number.empty() ? "" : "/") + number, std::string(row.text(2))});
        });
    return unreadable;
}

}  // namespace station
