#pragma once

// A database of many stations, and whether it is one.

#include <string>

#include "station/store/postgres.h"

namespace station {

// Until a person who waits for it gives up.
constexpr Postgres::Patience patienceOfPeople = {std::chrono::seconds(10), std::chrono::minutes(10)};

// Throws WrongUse where it is none that may be used.
void requireAddress(const std::string& address);

// Throws WrongUse where it has not the tables that this station knows.
void requireSchema(Database& database);

}  // namespace station
