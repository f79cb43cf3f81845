#pragma once

// Puts attempts into the tables of any database. Rows that are there already stay as they are, so doing it
// twice does nothing. All of it throws DatabaseError.

#include "station/store/database.h"
#include "station/store/stored_attempt.h"

namespace station {

// The attempt with its items, values and settlements.
void addAttempt(Database& database, const StoredAttempt& attempt);

// What was settled since the attempt was added.
void addSettlements(Database& database, const StoredAttempt& attempt);

// The unit's addresses. The first that comes keeps one.
void addMacs(Database& database, const StoredAttempt& attempt);

}  // namespace station
