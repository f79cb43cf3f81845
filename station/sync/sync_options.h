#pragma once

// The command line of what has to do with a database of many stations.

#include <string>

namespace CLI {
class App;
}

namespace station {

struct SyncOptions {
    std::string folder = "results";
    std::string address;  // of the database
    double everySeconds = 0;
    unsigned limitSeconds = 0;  // 0: none
    double waitSeconds = 60;
    bool create = false;
    bool rights = false;
    bool status = false;
};

// Where attempts go as well when they have ended; by the environment too.
void addDatabaseOption(CLI::App& command, std::string& address);

void addSyncCommand(CLI::App& app, SyncOptions& options);

}  // namespace station
