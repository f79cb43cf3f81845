// The launcher: runs a program, usually the tool, on a virtual board and shows what it says.

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <system_error>

#include "host/own_files.h"
#include "host/version.h"
#include "r8/contract/report_record.h"
#include "vboard/board.h"
#include "vboard/launcher/screen.h"
#include "vboard/launcher/verdict.h"
#include "vboard/scenario/scenario.h"

using namespace vboard;

namespace {

constexpr int wrongUse = 2;

struct Options {
    std::string scenario;
    std::vector<std::string> command;
    std::string traceFile;
    std::string fifo;
    std::string station;
    bool raw = false;
    bool timestamps = false;
    bool realTime = false;
    bool verdict = false;
    bool list = false;
};

int showScenarios() {
    for (const auto& [name, shows] : listScenarios()) {
        std::cout << name << std::string(name.size() < 24 ? 24 - name.size() : 1, ' ') << shows << "\n";
    }
    return 0;
}

ToolCommand toolCommand(const Options& options, const VirtualBoard& board) {
    ToolCommand command = defaultToolCommand();
    command.arguments = board.arguments;
    if (!options.command.empty()) {
        const std::string& program = options.command.front();
        command.program = program == "r8" ? command.program : program;
        command.arguments.assign(options.command.begin() + 1, options.command.end());
    }
    return command;
}

void writeTrace(const Options& options, const Run& run) {
    if (options.traceFile.empty()) {
        return;
    }
    std::ofstream file(options.traceFile);
    file << toText(run.trace);
    if (!file.flush()) {
        throw std::runtime_error("can not write the trace to " + options.traceFile);
    }
}

std::string howItEnded(const Run& run) {
    if (!run.stopReason.empty()) {
        return "stopped: " + run.stopReason;
    }
    return run.exited() ? "tool ended with status " + std::to_string(run.exitStatus())
                        : "tool ended by signal " + std::to_string(run.signal());
}

void sayEnd(const Run& run) {
    (void)std::fprintf(stderr, "vboard: %s after %.3f s of board time%s\n", howItEnded(run).c_str(),
                       static_cast<double>(run.elapsed.count()) / 1e9,
                       run.sawEndMarker() ? ", end marker seen" : "");
    for (const std::string& request : run.idleFaults) {
        (void)std::fprintf(stderr, "vboard: the fault of \"%s\" never struck\n", request.c_str());
    }
    for (const std::string& request : run.refusals()) {
        (void)std::fprintf(stderr, "vboard: refused: %s\n", request.c_str());
    }
}

// The station runs us again, as its tool: it reads the records and keeps them.
[[noreturn]] void execStation(const Options& options, const ToolCommand& command) {
    namespace fs = std::filesystem;
    const std::string self = host::ownFile("vboard");
    const std::string station = host::ownFile("r8-station");
    const std::string fifo = fs::absolute(options.station) / "r8.fifo";
    fs::create_directories(options.station);
    std::vector<std::string> words = {station, "run", "--clock", "auto", "--language", "en"};
    const auto add = [&words](const std::vector<std::string>& more) {
        words.insert(words.end(), more.begin(), more.end());
    };
    add({"--unit", fs::path(options.scenario).stem()});
    add({"--results", options.station, "--fifo", fifo});
    add({"--", self, options.scenario, "--raw", "--fifo", fifo});
    if (options.realTime) {
        add({"--real-time"});
    }
    if (!options.traceFile.empty()) {
        add({"--trace", options.traceFile});
    }
    add({"--", command.program});
    add(command.arguments);
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    (void)execv(argv[0], argv.data());
    throw std::system_error(errno, std::generic_category(), "can not start " + station);
}

int launch(const Options& options) {
    VirtualBoard board(options.scenario);
    const ToolCommand command = toolCommand(options, board);
    const bool networked = !command.arguments.empty() && command.arguments.front() == "netR8test";
    if (!options.station.empty() && networked) {
        execStation(options, command);
    }
    Screen console(stdout, options.raw, options.timestamps);
    Screen errors(stderr, options.raw, options.timestamps);
    board.settings.realTime = options.realTime;
    board.settings.onOutput = [&console](Time at, std::string_view bytes) { console.show(at, bytes); };
    board.settings.onErrors = [&errors](Time at, std::string_view bytes) { errors.show(at, bytes); };
    board.supervisor.hostFifo = options.fifo;
    if (options.fifo.empty()) {
        board.supervisor.onWrite = [&console](Time at, std::string_view record) {
            console.show(at, record.substr(std::min(reportRecordHeaderBytes, record.size())));
        };
    }
    const Run run = board.run(command);
    console.endLine();
    errors.endLine();
    writeTrace(options, run);
    sayEnd(run);
    if (!options.verdict) {
        return statusOf(run);
    }
    const Verdict verdict = verdictOf(run);
    (void)std::fprintf(stderr, "vboard: %s\n", verdict.text.c_str());
    return verdict.status;
}

}  // namespace

int main(int argc, char** argv) {
    (void)signal(SIGPIPE, SIG_IGN);  // a reader of the FIFO that goes away is the tool's business
    Options options;
    CLI::App app{
        "Runs the board-test tool on a virtual board, off the factory floor.\n"
        "SCENARIO is the name of one (see --list) or a file. R8 is \"r8\" for the tool of this build or\n"
        "the path of another build; without a command the tool gets the scenario's own arguments.\n"
        "In networked mode the launcher is the supervising process: it reads the records and shows them.\n"
        "Ends with the tool's exit status; 128 + n after signal n; 2 for wrong use; 3 when the board had\n"
        "to stop the run or refused what it does not know."};
    app.set_version_flag("--version", "vboard " + std::string(host::r8Version()));
    app.add_flag("--list", options.list, "name the scenarios and what each one shows");
    app.add_flag("--raw", options.raw, "leave the bytes as they are (GBK), for programs that read them");
    app.add_flag("--timestamps", options.timestamps, "put the board's time in seconds in front of each line");
    app.add_flag("--real-time", options.realTime, "let the board's time pass as slowly as a wall clock");
    app.add_flag(
        "--verdict", options.verdict,
        "end with what the summary of a full run says of the board: 0 passed, 1 failed, 3 no verdict");
    app.add_option("--trace", options.traceFile, "write every request of the tool to this file")
        ->type_name("FILE");
    app.add_option("--fifo", options.fifo,
                   "hand the records to the reader of this FIFO instead of showing them")
        ->type_name("PATH");
    app.add_option(
           "--station", options.station,
           "let r8-station supervise a networked run: live view, verdict, and a record below this folder")
        ->type_name("FOLDER");
    app.add_option("scenario", options.scenario, "board to run on");
    app.add_option("command", options.command, "the tool and its arguments, behind --");
    try {
        app.parse(argc, argv);
        if (options.scenario.empty() && !options.list) {
            throw CLI::RequiredError("SCENARIO");
        }
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : wrongUse;
    }
    try {
        return options.list ? showScenarios() : launch(options);
    } catch (const std::exception& error) {
        std::cerr << "vboard: " << error.what() << "\n";
        return wrongUse;
    }
}
