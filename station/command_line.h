#pragma once

// The command line of r8-station.

#include <optional>
#include <string>
#include <vector>

#include "station/keep/attempt_info.h"
#include "station/plan/gate.h"
#include "station/plan/settle.h"
#include "station/results_options.h"

namespace station {

enum class Task { run, read, report, index, settle, product, sync, exportResults };

struct Options {
    Task task = Task::run;
    std::string unit;
    bool noUnit = false;
    std::string results = "results";
    std::string fifo = "/var/r8.fifo";
    std::string input = "-";
    std::optional<double> timeoutSeconds;  // 0: no limit; none: the default
    std::string records = "pipe";
    std::string board;  // as ssh takes it; empty: this machine
    std::vector<std::string> sshOptions;
    std::string tool;  // file to bring along to the board
    bool shared = false;
    std::string clock = "ask";
    std::string language = "zh";
    std::string product;            // file; empty: none
    std::vector<std::string> only;  // items; empty: the whole plan
    GateOptions gate;
    SettleRequest settle;  // without its results and its verdict
    std::string settleVerdict;
    std::vector<std::string> after;  // program and arguments; empty: none
    double afterSeconds = 30;
    StationInfo station;      // without its version
    std::string goodUnit;     // folder of the attempt that a product file is made from
    std::string stationFile;  // empty: the usual one
    std::vector<std::string> command;
    std::string database;  // of many stations, where attempts go as well; empty: none
    ResultsOptions ofResults;
};

// The options, or the status to end with: help was asked for and shown, or what was wrong was said.
struct CommandLine {
    Options options;
    std::optional<int> status;
};

CommandLine parseCommandLine(int argc, char** argv);

// The unit's name without what a scanner puts around it, none on a bench. Throws WrongUse where it can't be
// one: empty, too long, control characters, or a word that begins like an option and so took an empty name's
// place.
std::optional<std::string> chosenUnit(const Options& options);

}  // namespace station
