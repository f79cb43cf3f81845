// Runs the board's own program on an emulated machine with Debian's kernel, and answers as the board's
// devices.

#include <CLI/CLI.hpp>

#include <csignal>
#include <iostream>
#include <stdexcept>

#include "emulated/refusals.h"
#include "emulated/run.h"

using namespace emulated;

namespace {

constexpr int wrongUse = 2;

int launch(const Options& options) {
    vboard::VirtualBoard board(options.scenario);
    const std::vector<std::string> refused = refusalsOf(board);
    for (const std::string& what : refused) {
        std::cerr << "emulated: this board can't do " << what << "\n";
    }
    if (!refused.empty()) {
        return wrongUse;
    }
    std::vector<std::string> arguments = board.arguments;
    if (!options.command.empty()) {
        arguments.assign(options.command.begin() + 1, options.command.end());
    }
    for (const std::string& argument : arguments) {
        if (argument.find_first_of("'\n") != std::string::npos) {
            throw std::runtime_error("an argument of the tool with a quote or a line break");
        }
    }
    return Run(options, board, arguments).perform();
}

}  // namespace

int main(int argc, char** argv) {
    (void)signal(SIGPIPE, SIG_IGN);
    Options options;
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
    app.add_option("scenario", options.scenario, "board to run on")->required();
    app.add_option("command", options.command, "the tool and its arguments, behind --");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : wrongUse;
    }
    try {
        return launch(options);
    } catch (const std::exception& error) {
        std::cerr << "emulated: " << error.what() << "\n";
        return stoppedByBoard;
    }
}
