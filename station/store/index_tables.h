#pragma once

// What the index knows of the folders themselves, beside the tables that every database has.

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "station/store/database.h"
#include "station/store/folder_scan.h"
#include "station/store/stored_attempt.h"

namespace station {

// All of it throws DatabaseError.

void createFolderTables(Database& index);

// Ordered by name, as findChanges wants them.
std::vector<AttemptFolder> knownAttempts(Database& index);
std::vector<UnitFolder> knownUnits(Database& index);

// Takes over what was found, reading the records; a copy of an attempt that is there counts once, from the
// place whose name comes first.
void takeOver(Database& index, const std::filesystem::path& results, const FolderChanges& changes);

// The attempt in a folder, given as seen from the results folder; none when its record can't be read.
std::optional<StoredAttempt> readAttemptAt(const std::filesystem::path& results, const std::string& place);

}  // namespace station
