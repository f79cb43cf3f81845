#pragma once

// The command line of everything that reads a results folder.

#include <string>

#include "station/store/figures.h"
#include "station/sync/sync_options.h"

namespace CLI {
class App;
}

namespace station {

struct ResultsOptions {
    std::string folder = "results";
    std::string page;   // where the page goes; empty: into the folder
    std::string since;  // as given
    Selection selection;
    bool csv = false;
    bool json = false;
    bool rebuild = false;
    std::string format = "csv";  // of export, or json-lines
    bool values = false;         // export: a line for each value
    std::string database;        // the report comes from there; empty: from the folder
    SyncOptions sync;
};

// Adds the subcommands; each writes into options.
void addResultsCommands(CLI::App& app, ResultsOptions& options);

}  // namespace station
