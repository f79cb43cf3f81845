#include "station/sync/sync_state.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <span>
#include <system_error>

#include "station/keep/files.h"
#include "station/keep/json.h"
#include "station/store/results_index.h"

namespace station {

namespace {

namespace fs = std::filesystem;

constexpr const char* stateName = "sync.json";
constexpr std::size_t mostParked = 100;  // of those that were refused

// Beside the index; empty when there is no place for that.
fs::path placeOf(const fs::path& results, const char* name) {
    const fs::path folder = indexPath(results).parent_path();
    std::error_code ignored;  // then nothing can be kept there
    (void)fs::create_directories(folder, ignored);
    return folder.empty() ? folder : folder / name;
}

host::Descriptor openLock(const fs::path& path) {
    return host::Descriptor(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
}

int lockPatiently(const host::Descriptor& lock) {
    int result;
    while ((result = flock(lock.get(), LOCK_EX)) != 0 && errno == EINTR) {
    }
    return result;
}

Json jsonOf(const SyncState& state) {
    Json parked = Json::array();
    for (const Parked& one : std::span(state.parked).first(std::min(state.parked.size(), mostParked))) {
        parked.push_back({{"place", one.place}, {"why", one.why}});
    }
    return {{"ended", state.ended},     {"database", state.address}, {"copied", state.copied},
            {"refused", state.refused}, {"parked", parked},          {"error", state.error}};
}

SyncState stateIn(const Json& json) {
    SyncState state;
    state.ended = json.at("ended");
    state.address = json.at("database");
    state.copied = json.at("copied");
    state.refused = json.at("refused");
    for (const Json& one : json.at("parked")) {
        state.parked.push_back({one.at("place"), one.at("why")});
    }
    state.error = json.at("error");
    return state;
}

}  // namespace

std::optional<SyncState> readSyncState(const fs::path& results) {
    try {
        return stateIn(Json::parse(readFile(placeOf(results, stateName))));
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void writeSyncState(const fs::path& results, const SyncState& state) {
    try {
        writeAtomically(placeOf(results, stateName),
                        jsonOf(state).dump(1, ' ', false, Json::error_handler_t::replace) + "\n");
    } catch (const std::system_error&) {
        // The next try says it again.
    }
}

SyncTurn::SyncTurn(const fs::path& results) {
    const host::Descriptor waiting = openLock(placeOf(results, ".sync-waiting"));
    lock_ = openLock(placeOf(results, ".sync"));
    if (waiting.isOpen() && lock_.isOpen()) {
        isMine_ = flock(waiting.get(), LOCK_EX | LOCK_NB) == 0 && lockPatiently(lock_) == 0;
    }
}

}  // namespace station
