#include "station/sync/sync_options.h"

#include <CLI/CLI.hpp>

#include "station/store/postgres.h"

namespace station {

void addDatabaseOption(CLI::App& command, std::string& address) {
    command
        .add_option(
            "--database", address,
            "copy attempts into this database beside the next run, postgresql://... without a password")
        ->envname("R8_STATION_DATABASE")
        ->check(problemOfAddress)
        ->type_name("URI");
}

void addSyncCommand(CLI::App& app, SyncOptions& options) {
    CLI::App* const sync = app.add_subcommand("sync", "copies what is new into a database of many stations");
    sync->add_option("folder", options.folder, "folder of the records")->capture_default_str();
    CLI::Option* const address =
        sync->add_option("--to", options.address, "the database, postgresql://... without a password")
            ->envname("R8_STATION_DATABASE")
            ->type_name("URI");
    sync->add_option("--every", options.everySeconds, "does so again and again, with so many seconds between")
        ->check(CLI::Range(1.0, 1e6));
    sync->add_option("--limit", options.limitSeconds, "ends behind so many seconds, wherever it is")
        ->check(CLI::Range(1U, 1000000U));
    sync->add_option("--wait", options.waitSeconds, "how long the database may be silent, in seconds")
        ->check(CLI::Range(0.1, 86400.0))
        ->capture_default_str();
    CLI::Option* const create =
        sync->add_flag("--create", options.create, "makes the tables in an empty database")->needs(address);
    CLI::Option* const rights = sync->add_flag("--rights", options.rights,
                                               "prints SQL that gives stations and readers what they need");
    sync->add_flag("--status", options.status, "what became of the last time")
        ->excludes(create)
        ->excludes(rights);
}

}  // namespace station
