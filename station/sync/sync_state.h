#pragma once

// What became of the last try to copy a results folder into a database: for people only. What is left to be
// copied is never read from here.

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/descriptor.h"
#include "station/sync/copy_attempts.h"

namespace station {

struct SyncState {
    std::int64_t ended = 0;  // seconds since 1970
    std::string address;
    std::size_t copied = 0;
    std::size_t refused = 0;
    std::vector<Parked> parked;  // of these, the first hundred
    std::string error;           // why it did not come to its end; empty: it did
};

// None when there was no try yet, or it can't be read.
std::optional<SyncState> readSyncState(const std::filesystem::path& results);

// Not being able to is no error.
void writeSyncState(const std::filesystem::path& results, const SyncState& state);

// The turn of one process at this folder. The one that waits for its turn has looked at nothing yet, so
// whoever comes then need not wait as well.
class SyncTurn {
  public:
    // Waits; isMine is false when another one waits already. A folder where nothing can be kept is always
    // ours.
    explicit SyncTurn(const std::filesystem::path& results);
    bool isMine() const { return isMine_; }

  private:
    host::Descriptor lock_;
    bool isMine_ = true;
};

}  // namespace station
