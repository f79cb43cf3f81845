#include "station/sync/open_database.h"

#include "station/store/schema.h"
#include "station/wrong_use.h"

namespace station {

void requireAddress(const std::string& address) {
    if (const std::string problem = problemOfAddress(address); !problem.empty()) {
        throw WrongUse(problem);
    }
}

void requireSchema(Database& database) {
    const int version = schemaVersionOf(database);
    if (version == 0) {
        throw WrongUse(
            "the database has no tables of r8-station that this role may read; its owner makes them with "
            "r8-station sync --create");
    }
    if (version != schemaVersion) {
        throw WrongUse("the database's tables are of version " + std::to_string(version) +
                       ", this station knows version " + std::to_string(schemaVersion));
    }
}

}  // namespace station
