// Runs the board's own program on an emulated machine with Debian's kernel, and answers as the board's
// devices.

#include <CLI/CLI.hpp>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "emulated/refusals.h"
#include "emulated/run.h"

using namespace emulated;

namespace {

constexpr int wrongUse = 2;
constexpr int stoppedByBoard = 3;

struct Options {
    std::string scenario;
    std::vector<std::string> command;
    std::string machine;
    std::string traceFile;
    std::string fifo;
    std::string shell;
    std::string caseList;
    std::string results;
    std::string sshKey;
    unsigned sshPort = 0;
    bool countsInstructions = false;
    double limitSeconds = 240;
    bool raw = false;
    bool timestamps = false;
    bool refusals = false;
};

int sayRefusals(const vboard::VirtualBoard& board) {
    const std::vector<std::string> refused = refusalsOf(board);
    for (const std::string& what : refused) {
        std::cerr << "emulated: this board can't do " << what << "\n";
    }
    return refused.empty() ? 0 : wrongUse;
}

std::unique_ptr<Machine> switchOn(const Options& options, const vboard::VirtualBoard& board,
                                  const std::filesystem::path& log, int signals) {
    std::cerr << "emulated: Debian's kernel boots on an emulated 32-bit ARM machine, this takes some 10 s "
                 "(its log: "
              << log.string() << ")\n";
    return std::make_unique<Machine>(options.machine, board, log, signals, options.sshPort,
                                     options.countsInstructions);
}

std::string lineOf(const std::string& file) {
    std::ifstream stream(file);
    std::string line;
    if (!std::getline(stream, line) || line.find('\'') != std::string::npos) {
        throw std::runtime_error("no key in " + file);
    }
    return line;
}

int runOne(const Options& options) {
    vboard::VirtualBoard board(options.scenario);
    if (const int refused = sayRefusals(board); refused != 0 || options.refusals) {
        return refused;
    }
    std::vector<std::string> arguments = board.arguments;
    if (!options.command.empty()) {
        arguments.assign(options.command.begin() + 1, options.command.end());
    }
    Case which = {"run", options.scenario, options.shell.empty() ? toolCommand(arguments) : options.shell};
    if (options.sshPort != 0) {
        which.command = "untilStopped";
        which.sshKey = lineOf(options.sshKey);
    }
    const int signals = openStopSignals();  // first: nothing that follows may be left behind
    const auto machine =
        switchOn(options, board, std::filesystem::path(options.machine) / "console.log", signals);
    Streams streams = {stdout, stderr, stderr, options.traceFile, options.fifo};
    streams.raw = options.raw;
    streams.timestamps = options.timestamps;
    constexpr double untilStopped = 1e9;
    Run run(*machine, which, board, streams, options.sshPort != 0 ? untilStopped : options.limitSeconds);
    const std::optional<int> status = run.perform();
    return status && !run.leftSomething() ? *status : stoppedByBoard;
}

// The files of a case, closed at its end.
class Files {
  public:
    Files(const std::filesystem::path& folder, const std::string& name) : base_(folder / name) {}
    ~Files() {
        for (std::FILE* file : open_) {
            (void)std::fclose(file);  // whoever reads them misses what could not be written
        }
    }
    Files(const Files&) = delete;
    Files& operator=(const Files&) = delete;
    std::string path(const std::string& kind) const { return base_ + "." + kind; }
    std::FILE* make(const std::string& kind) {
        std::FILE* file = std::fopen(path(kind).c_str(), "w");
        if (file == nullptr) {
            throw std::runtime_error("can not write " + path(kind));
        }
        open_.push_back(file);
        return file;
    }

  private:
    std::string base_;
    std::vector<std::FILE*> open_;
};

// False when the machine is of no more use. Its console goes to the case's log when it had to be stopped.
bool runOnMachine(const Options& options, const Case& which, Machine& machine, vboard::VirtualBoard& board) {
    Files files(options.results, which.name);
    Streams streams = {files.make("output"), files.make("errors"), files.make("log"), files.path("trace"),
                       ""};
    streams.records = files.make("records");
    Run run(machine, which, board, streams, options.limitSeconds);
    const std::optional<int> status = run.perform();
    std::cout << which.name << " " << (status ? std::to_string(*status) : "stopped") << std::endl;
    return status.has_value() && board.operatorInput.types.empty();
}

// As many cases on each machine as it carries. A case that had to be stopped costs its machine.
int runAll(const Options& options) {
    const int signals = openStopSignals();
    std::unique_ptr<Machine> machine;
    for (const Case& which : readCases(options.caseList)) {
        vboard::VirtualBoard board(which.scenario);
        if (sayRefusals(board) != 0) {
            throw std::runtime_error(which.name + " can't be run");
        }
        if (!machine || !machine->hardware().carries(board)) {
            machine.reset();
            machine = switchOn(options, board, options.results + "/" + which.name + ".console", signals);
        }
        const bool usable = runOnMachine(options, which, *machine, board);
        if (machine->stoppedBySignal()) {
            return stoppedByBoard;
        }
        machine = usable ? std::move(machine) : nullptr;
    }
    return 0;
}

int parse(int argc, char** argv, Options& options) {
    CLI::App app{
        "Runs the board's own program on an emulated 32-bit ARM machine with Debian's kernel; the "
        "scenario's\n"
        "devices answer. Ends with the tool's exit status; 2 for wrong use or what this board can't do; 3 "
        "when\n"
        "the machine or the run had to be stopped, or the tool left something behind."};
    app.add_flag("--raw", options.raw, "leave the bytes as they are (GBK)");
    app.add_flag("--timestamps", options.timestamps,
                 "put the seconds since the tool's start in front of each line");
    app.add_option("--machine", options.machine, "folder with the unpacked kernel and initramfs.cpio")
        ->required();
    app.add_option("--trace", options.traceFile, "write every request on the control device to this file");
    app.add_option("--fifo", options.fifo, "hand the records to the reader of this FIFO");
    app.add_option("--limit", options.limitSeconds, "seconds that the tool may take")->capture_default_str();
    app.add_option("--shell", options.shell, "start the tool by these words of shell on the machine");
    CLI::Option* const key = app.add_option("--ssh-key", options.sshKey, "public key of whoever may come in");
    app.add_option("--ssh-port", options.sshPort,
                   "start no tool: let root come in with ssh at this port of 127.0.0.1, until a signal")
        ->needs(key);
    app.add_flag(
        "--count-instructions", options.countsInstructions,
        "the machine's clock goes by its instructions, one a nanosecond, and not by the host's load");
    app.add_flag("--refusals", options.refusals, "only name what this board can't do");
    app.add_option("--cases", options.caseList, "run the cases of this list: NAME SCENARIO SHELL...")
        ->excludes("--shell");
    app.add_option("--results", options.results, "folder for the files of the cases");
    app.add_option("scenario", options.scenario, "board to run on")->excludes("--cases");
    app.add_option("command", options.command, "the tool and its arguments, behind --");
    try {
        app.parse(argc, argv);
        if (options.scenario.empty() && (options.caseList.empty() || options.results.empty())) {
            throw CLI::RequiredError("SCENARIO, or --cases with --results");
        }
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? -1 : wrongUse;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    (void)signal(SIGPIPE, SIG_IGN);
    Options options;
    if (const int status = parse(argc, argv, options); status != 0) {
        return std::max(status, 0);
    }
    try {
        return options.caseList.empty() ? runOne(options) : runAll(options);
    } catch (const std::exception& error) {
        std::cerr << "emulated: " << error.what() << "\n";
        return stoppedByBoard;
    }
}
