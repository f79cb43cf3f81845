#pragma once

// Copies attempts from a results folder into a database of many stations.

#include <filesystem>
#include <string>
#include <vector>

#include "station/store/postgres.h"

namespace station {

// An attempt that the database does not take.
struct Parked {
    std::string place;  // its folder as seen from the results folder
    std::string why;
};

struct Copied {
    std::size_t attempts = 0;  // and settlements that came later
    std::vector<Parked> parked;
};

// What is not there yet, the oldest first: which that is, the database is asked each time. Attempts that run
// are left for later; so are those without an end for a day, for they may run on another machine. One that
// the database refuses does not keep the others back. copied grows as they get there, and holds when this
// throws: DatabaseError where the database went away, std::system_error where the folder can't be read.
void copyAttempts(const std::filesystem::path& results, Postgres& database, Copied& copied);

}  // namespace station
