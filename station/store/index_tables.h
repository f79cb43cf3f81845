#pragma once

// What the index knows of the folders themselves, beside the tables that every database has.

#include <functional>
#include <string>
#include <vector>

#include "station/store/database.h"
#include "station/store/folder_scan.h"

namespace station {

// All of it throws DatabaseError.

void createFolderTables(Database& index);

// Ordered by name, as findChanges wants them.
std::vector<AttemptFolder> knownAttempts(Database& index);
std::vector<UnitFolder> knownUnits(Database& index);

// Takes over what was found, reading the records; a copy of an attempt that is there counts once, from the
// place whose name comes first.
void takeOver(Database& index, const std::filesystem::path& results, const FolderChanges& changes);

}  // namespace station
