#pragma once

// The index beside the attempt folders: RESULTS/index.sqlite, in the tables of station/store/schema.h. The
// folders are the truth. It can be thrown away at any time, and where it can't be kept (a folder that may
// only be read, a disk that is full) it is made in memory.

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "station/store/database.h"

namespace station {

// An attempt whose record can't be read, or a folder that can't be looked into. In no figure.
struct Unreadable {
    std::string place;  // as seen from the results folder
    std::string why;
};

// Where a results folder's index lies: in it, or, where that is on another machine's disk, below
// $XDG_CACHE_HOME (~/.cache): SQLite's locks and shared memory do not work over a network.
std::filesystem::path indexPath(const std::filesystem::path& results);

// Brings the index up to date and hands it over. Only new and changed records are read. A broken index is
// made anew and use is called again, so it shows nothing before it has all it needs. Throws std::system_error
// when the results folder can't be read, and DatabaseError when there is not even memory.
void useIndex(const std::filesystem::path& results, const std::function<void(Database&)>& use);

// Reads all folders again. False when the index can't be kept.
bool rebuildIndex(const std::filesystem::path& results);

// Takes over one attempt that has begun or ended, without looking at others and without waiting long; whoever
// reads finds the rest. Never fails: what could not be taken over is found later as well.
void noteAttempt(const std::filesystem::path& results, const std::filesystem::path& attempt);

// By place. Throws DatabaseError.
std::vector<Unreadable> unreadableAttempts(Database& index);

}  // namespace station
