#include "station/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstring>

#include "host/version.h"
#include "station/exit_status.h"
#include "station/interpret/text.h"
#include "station/wrong_use.h"

namespace station {

namespace {

constexpr std::size_t longestUnit = 80;  // bytes; three times as many still fit into a folder's name

void addRunOptions(CLI::App& command, Options& options) {
    CLI::Option* const unit =
        command.add_option("-u,--unit", options.unit, "serial number of the unit under test");
    command.add_flag("--no-unit", options.noUnit, "a trial on a bench, for no unit")->excludes(unit);
    command.add_option("--results", options.results, "folder of the records")->capture_default_str();
    command
        .add_option("--clock", options.clock,
                    "who judges the clock: ask (on a terminal, else as auto), auto (2 s), leave")
        ->check(CLI::IsMember({"ask", "auto", "leave"}))
        ->capture_default_str();
    command
        .add_option("--timeout", options.timeoutSeconds,
                    "seconds after which the run is ended; 0: never [5 times the last run, at least 180]")
        ->check(CLI::Range(0.0, 1e6));
    command
        .add_option("--after", options.after,
                    "run this program with the record's path behind each attempt; again for its arguments")
        ->type_name("WORD")
        ->allow_extra_args(false);
    command.add_option("--after-limit", options.afterSeconds, "seconds that it may take")
        ->check(CLI::Range(0.1, 3600.0))
        ->capture_default_str();
    command.add_option("--language", options.language, "zh, or en for English names beside the board's own")
        ->check(CLI::IsMember({"zh", "en"}))
        ->capture_default_str();
}

// For the trace in the record.
void addStationOptions(CLI::App& command, Options& options) {
    command.add_option("--station", options.station.name, "the station's name")->type_name("NAME");
    command.add_option("--fixture", options.station.fixture, "the fixture")->type_name("NAME");
    command.add_option("--operator", options.station.operatorName, "who tests")->type_name("NAME");
    command.add_option("--lot", options.station.lot, "the units' lot")->type_name("NAME");
    command.add_option("--station-file", options.stationFile, "these from a file [/etc/r8/station.toml]")
        ->type_name("FILE");
    command.add_option("--product", options.product, "what a good unit is, and the plan of its tests")
        ->type_name("FILE");
}

// Empty, as an empty variable of a script gives it, it would be this machine; an option it would be for ssh.
std::string isDestination(const std::string& text) {
    return text.empty() || text.starts_with('-') ? "wants [USER@]HOST" : "";
}

void addLinkOptions(CLI::App& run, Options& options) {
    run.add_option("--fifo", options.fifo, "the tool's report pipe")->capture_default_str();
    CLI::Option* const records =
        run.add_option(
               "--records", options.records,
               "pipe, or stdout: the command prints the record stream, and the console on standard error")
            ->check(CLI::IsMember({"pipe", "stdout"}))
            ->capture_default_str();
    CLI::Option* const board =
        run.add_option("--board", options.board, "run the tool on this board, [USER@]HOST, with ssh")
            ->check(isDestination)
            ->excludes(records);
    run.add_option("--ssh-option", options.sshOptions, "one more option of ssh, as behind its -o")
        ->allow_extra_args(false)
        ->needs(board);
    run.add_option("--tool", options.tool, "bring this tool along to the board")
        ->check(CLI::ExistingFile)
        ->needs(board);
    run.add_flag("--shared", options.shared, "not a board of its own: no root needed, other tools may run")
        ->needs(board);
}

void addPlanOptions(CLI::App& run, Options& options) {
    run.add_option("--only", options.only, "repeat only what tests these items; never a pass of the unit")
        ->type_name("ITEM");
    run.add_flag("--any-serial", options.gate.anySerial, "test a unit whose name is none of the product's");
    run.add_flag("--again", options.gate.again, "test a unit that has passed already");
    run.add_option("--repaired", options.gate.repaired, "what was repaired on the unit since it failed")
        ->type_name("TEXT");
    run.add_flag("--no-golden", options.gate.noGolden, "test although the golden unit has not passed today");
}

void addSettleOptions(CLI::App& settle, Options& options) {
    settle.add_option("attempt", options.settle.attempt, "UNIT/NUMBER")->required();
    settle.add_option("item", options.settle.item, "that was left to a person")->required();
    settle.add_option("verdict", options.settleVerdict, "what it is")
        ->required()
        ->check(CLI::IsMember({"pass", "fail"}));
    settle.add_option("--by", options.settle.by, "who says so")->required();
    settle.add_option("--results", options.results, "folder of the records")->capture_default_str();
}

}  // namespace

CommandLine parseCommandLine(int argc, char** argv) {
    CommandLine line;
    Options& options = line.options;
    CLI::App app(
        "Runs the board test for one unit, keeps the record, gives the verdict.\n"
        "Exit status: 0 passed, 1 failed, 2 wrong use, 3 incomplete.");
    app.set_version_flag("--version", "r8-station " + std::string(host::r8Version()));
    app.require_subcommand(1);
    CLI::App* const run =
        app.add_subcommand("run", "start the tool: r8-station run --unit SERIAL -- r8 netR8test");
    addRunOptions(*run, options);
    addStationOptions(*run, options);
    addLinkOptions(*run, options);
    addPlanOptions(*run, options);
    addDatabaseOption(*run, options.database);
    CLI::App* const read = app.add_subcommand("read", "read a stored or piped record stream");
    addRunOptions(*read, options);
    addDatabaseOption(*read, options.database);
    addStationOptions(*read, options);
    read->add_option("file", options.input, "the stream; - is the standard input")->capture_default_str();
    addResultsCommands(app, options.ofResults);

    CLI::App* const settle =
        app.add_subcommand("settle", "say how an item came out that only a person can tell");
    addSettleOptions(*settle, options);
    addDatabaseOption(*settle, options.database);

    CLI::App* const product = app.add_subcommand("product", "a first product file from a good unit");
    product->add_option("--from", options.goodUnit, "folder of an attempt that passed")
        ->type_name("FOLDER")
        ->required();

    // The tool's command may hold "--" and options of its own, so it never gets near the parser.
    const bool hasCommand = argc > 1 && strcmp(argv[1], "run") == 0;
    char** const commandMark = std::find_if(
        argv, argv + argc, [hasCommand](const char* word) { return hasCommand && strcmp(word, "--") == 0; });
    if (commandMark != argv + argc) {
        options.command.assign(commandMark + 1, argv + argc);
    }
    try {
        app.parse(static_cast<int>(commandMark - argv), argv);
    } catch (const CLI::ParseError& error) {
        line.status = app.exit(error) == 0 ? exitPassed : exitWrongUse;
    }
    options.task = run->parsed()                  ? Task::run
                   : read->parsed()               ? Task::read
                   : settle->parsed()             ? Task::settle
                   : product->parsed()            ? Task::product
                   : app.got_subcommand("index")  ? Task::index
                   : app.got_subcommand("export") ? Task::exportResults
                   : app.got_subcommand("sync")   ? Task::sync
                                                  : Task::report;
    return line;
}

// The same label must not name two units, with a scanner's blanks or without.
std::optional<std::string> chosenUnit(const Options& options) {
    if (options.noUnit) {
        return std::nullopt;
    }
    const char* const blanks = " \t\r\n";
    const std::size_t first = options.unit.find_first_not_of(blanks);
    if (first == std::string::npos) {
        throw WrongUse("which unit is on the station? Give --unit SERIAL, or --no-unit on a bench");
    }
    const std::string unit = options.unit.substr(first, options.unit.find_last_not_of(blanks) - first + 1);
    if (unit.starts_with('-')) {
        throw WrongUse("the unit's name begins with \"-\": " + unit + "; was the serial number empty?");
    }
    if (unit.size() > longestUnit) {
        throw WrongUse("the unit's name is longer than " + std::to_string(longestUnit) + " bytes");
    }
    if (utf8FromEither(unit) != unit || unit.find_first_of("\t\n") != std::string::npos) {
        throw WrongUse("the unit's name holds control characters, or is no UTF-8");
    }
    return unit;
}

}  // namespace station
