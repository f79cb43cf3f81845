#pragma once

// The command line of everything that reads a results folder.

#include <string>

#include "station/store/figures.h"

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
};

// Adds the subcommands; each writes into options.
void addResultsCommands(CLI::App& app, ResultsOptions& options);

}  // namespace station
