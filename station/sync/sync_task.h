#pragma once

// "r8-station sync", and the same behind a unit's run.

#include <filesystem>
#include <string>

#include "station/exit_status.h"
#include "station/sync/sync_options.h"

namespace station {

// exitIncomplete when something is not in the database. Throws WrongUse, std::system_error and DatabaseError.
ExitStatus syncResults(const SyncOptions& options);

// Starts it beside us and leaves it alone; it ends by itself, and the next one makes up for it. Never fails:
// the record is in its folder.
void startSync(const std::filesystem::path& results, const std::string& address);

// One line on what is not right with the last try; empty when all is well, or nobody has tried.
std::string troubleOfSync(const std::filesystem::path& results);

}  // namespace station
