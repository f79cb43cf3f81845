#pragma once

// Who tests: for the trace in each record.

#include "station/command_line.h"
#include "station/keep/attempt_info.h"

namespace station {

// Each word from the option, else from the environment (R8_STATION_NAME, R8_STATION_FIXTURE,
// R8_STATION_OPERATOR, R8_STATION_LOT), else from the station's file: --station-file, else R8_STATION_FILE,
// else /etc/r8/station.toml where there is one. Throws WrongUse.
StationInfo stationInfo(const Options& options);

// The database of many stations, in the same order (--database, R8_STATION_DATABASE, "database" in the file);
// empty: there is none. Throws WrongUse.
std::string stationDatabase(const Options& options);

// A random UUID, lower case. Throws std::system_error.
std::string newAttemptId();

}  // namespace station
