#pragma once

// The tables and views in which attempts are kept beside their folders, one text for SQLite and PostgreSQL.
//
// Every table that holds something of a unit has the unit first in its key, so the rows of a unit lie
// together and can be spread over nodes by it; mac_owner is spread by its address. A trial on a bench has the
// unit ''. Texts that are not known are '', flags are 0 or 1, times are seconds since 1970 in UTC. Rows are
// only ever added: who may insert and read can fill all of it.
//
//   attempt     one run; its key is the record's id, so the same attempt from two places is one row.
//               running: its station still holds it (only in an index beside the folders). partial: only some
//               items were run. place: its folder as seen from the results folder it came from
//   item        one item of an attempt; reasons one per line
//   value       a number that was measured, or a text that has a limit; minimum, maximum and passed are null,
//               and expected '', where the product file has none. passed: inside its limits
//   settlement  what a person decided later; outcome is the item's, attempt_outcome the unit's from then on
//   mac_use     each address that an attempt has printed
//   mac_owner   who had an address first; a later one does not get in
//
// Views, for people's own questions as well:
//   outcome           attempts as they stand now, with what was settled
//   judged            those that count: a unit's complete runs of all items, passed or failed. turn counts
//                     the unit's from 1 on, in the order of their starts, turns is how many there are
//   yield_by_day, item_failures, durations, value_trend, incomplete_runs
//                     the report's figures (station/store/figures.h) over everything, with days in UTC
//   mac_conflict      units whose address another unit had before

#include <string>

#include "station/store/database.h"

namespace station {

constexpr int schemaVersion = 1;

// Makes the tables and views in an empty database, and notes the version. Throws DatabaseError.
void createSchema(Database& database);

// The version that the database was made for; 0 when there is none. Throws DatabaseError when it
// can't be asked now.
int schemaVersionOf(Database& database);

}  // namespace station
