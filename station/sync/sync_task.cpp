#include "station/sync/sync_task.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <thread>

#include "host/child_process.h"
#include "host/descriptor.h"
#include "station/interpret/text.h"
#include "station/link/tool_process.h"
#include "station/show/times.h"
#include "station/store/schema.h"
#include "station/sync/copy_attempts.h"
#include "station/sync/open_database.h"
#include "station/sync/sync_state.h"
#include "station/wrong_use.h"

namespace station {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr std::chrono::milliseconds longestConnecting = 10s;
constexpr int backgroundSeconds = 600;

// The tables belong to whoever makes them. A station adds rows and reads, a reader reads.
constexpr const char* rightsSql =
    R"(-- What stations and readers may do, for the owner of the tables: r8-station sync --rights | psql ...
-- A station: CREATE ROLE line1_a LOGIN IN ROLE r8_station;  its password: \password line1_a
CREATE ROLE r8_station NOLOGIN;
CREATE ROLE r8_reader NOLOGIN;
REVOKE ALL ON schema_version, attempt, item, value, settlement, mac_use, mac_owner,
    outcome, judged, mac_conflict, yield_by_day, item_failures, durations, value_trend, incomplete_runs FROM PUBLIC;
GRANT INSERT ON attempt, item, value, settlement, mac_use, mac_owner TO r8_station;
GRANT SELECT ON schema_version, attempt, item, value, settlement, mac_use, mac_owner,
    outcome, judged, mac_conflict, yield_by_day, item_failures, durations, value_trend, incomplete_runs
    TO r8_station, r8_reader;
)";

Postgres::Patience patienceOf(const SyncOptions& options) {
    const auto answer = std::chrono::milliseconds(std::llround(options.waitSeconds * 1000));
    return {std::min(answer, longestConnecting), answer};
}

void create(Postgres& database) {
    if (schemaVersionOf(database) != schemaVersion) {
        Transaction transaction(database);
        createSchema(database);
        transaction.commit();
    }
}

SyncState syncOnce(const fs::path& results, const SyncOptions& options) {
    SyncState state;
    Copied copied;
    try {
        Postgres database(options.address, patienceOf(options));
        if (options.create) {
            create(database);
        }
        requireSchema(database);
        copyAttempts(results, database, copied);
    } catch (const std::exception& error) {
        state.error = error.what();
    }
    state.ended = std::time(nullptr);
    state.address = options.address;
    state.copied = copied.attempts;
    state.refused = copied.parked.size();
    state.parked = std::move(copied.parked);
    writeSyncState(results, state);
    return state;
}

// What the database and folders say goes to a terminal.
std::string safe(const std::string& text) {
    return utf8FromEither(text);
}

void print(const SyncState& state) {
    std::cout << localTime(state.ended) << ": " << state.copied << " copied, " << state.refused
              << " refused, " << (state.error.empty() ? "all others are in the database" : safe(state.error))
              << '\n';
    for (const Parked& one : state.parked) {
        std::cout << "    " << safe(one.place) << ": " << safe(one.why) << '\n';
    }
    std::cout << std::flush;
}

ExitStatus statusOf(const SyncState& state) {
    return state.error.empty() && state.refused == 0 ? exitPassed : exitIncomplete;
}

ExitStatus printStatus(const fs::path& results) {
    const std::optional<SyncState> state = readSyncState(results);
    if (!state) {
        std::cout << "not yet copied into any database\n" << std::flush;
        return exitIncomplete;
    }
    print(*state);
    return statusOf(*state);
}

void requireFolder(const fs::path& results) {
    if (!fs::is_directory(results)) {
        throw WrongUse(results.string() + ": there is no such folder");
    }
}

ExitStatus syncOnItsTurn(const fs::path& results, const SyncOptions& options) {
    const SyncTurn turn(results);
    if (!turn.isMine()) {
        std::cout << "another one that waits for its turn does it\n" << std::flush;
        return exitPassed;
    }
    const SyncState state = syncOnce(results, options);
    print(state);
    return statusOf(state);
}

// Locks and pipes of whoever started us are not ours to hold for as long as a database takes.
void closeInherited() {
    DIR* const listing = opendir("/proc/self/fd");
    if (listing == nullptr) {
        return;
    }
    for (const dirent* entry; (entry = readdir(listing)) != nullptr;) {
        const int number = std::atoi(entry->d_name);
        if (number > STDERR_FILENO && number != dirfd(listing)) {
            (void)close(number);
        }
    }
    (void)closedir(listing);
}

}  // namespace

ExitStatus syncResults(const SyncOptions& options) {
    if (options.rights) {
        std::cout << rightsSql << std::flush;
        return exitPassed;
    }
    requireFolder(options.folder);
    if (options.status) {
        return printStatus(options.folder);
    }
    requireAddress(options.address);
    closeInherited();
    giveBackSignals();  // wherever it is ended, the database has whole attempts only
    (void)alarm(options.limitSeconds);
    for (;;) {
        const ExitStatus status = syncOnItsTurn(options.folder, options);
        if (options.everySeconds == 0) {
            return status;
        }
        std::this_thread::sleep_for(std::chrono::duration<double>(options.everySeconds));
    }
}

void startSync(const fs::path& results, const std::string& address) {
    try {
        const host::Descriptor nothing(host::checked(open("/dev/null", O_RDWR | O_CLOEXEC), "/dev/null"));
        host::Command command;
        command.words = {
            "/proc/self/exe", "sync", "--to", address, "--limit", std::to_string(backgroundSeconds), results};
        command.input = command.output = command.errors = nothing.get();
        command.ownGroup = true;  // Ctrl-C is meant for the next unit
        (void)host::start(command);
    } catch (const std::system_error&) {
        // No process to be had: the next unit's will do it.
    }
}

std::string troubleOfSync(const fs::path& results) {
    const std::optional<SyncState> state = readSyncState(results);
    if (!state || statusOf(*state) == exitPassed) {
        return "";
    }
    return "database, at " + localTime(state->ended) + ": " + std::to_string(state->refused) + " refused" +
           (state->error.empty() ? "" : ", " + safe(state->error)) + "; r8-station sync --status says more";
}

}  // namespace station
