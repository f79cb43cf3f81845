// r8-station: runs the board-test tool for one unit, keeps the record and gives the verdict.

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <ctime>
#include <iostream>
#include <map>

#include "report.h"
#include "session.h"

namespace station {
namespace {

constexpr size_t longestUnit = 80;  // bytes; three times as many still fit into a folder's name

struct Options {
    std::string unit;
    bool noUnit = false;
    std::string results = "results";
    std::string fifo = "/var/r8.fifo";
    std::string input = "-";
    std::string page;
    double timeoutSeconds = 0;
    ClockJudge clockJudge = ClockJudge::ask;
    Language language = Language::chinese;
    std::vector<std::string> command;
};

std::string utcNow() {
    const std::time_t now = std::time(nullptr);
    std::tm parts = {};
    char text[32];
    (void)gmtime_r(&now, &parts);
    (void)std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

std::optional<std::string> chosenUnit(const Options& options) {
    if (options.noUnit) {
        return std::nullopt;
    }
    if (options.unit.find_first_not_of(" \t") == std::string::npos) {
        throw WrongUse("which unit is on the station? Give --unit SERIAL, or --no-unit on a bench");
    }
    if (options.unit.size() > longestUnit) {
        throw WrongUse("the unit's name is longer than " + std::to_string(longestUnit) + " bytes");
    }
    return options.unit;
}

// The tool may be started through a launcher: it is the word before the first "netR8test".
std::string toolWord(const std::vector<std::string>& command) {
    const auto mode = std::find(command.begin(), command.end(), "netR8test");
    return mode == command.begin() || mode == command.end() ? command.front() : *(mode - 1);
}

AttemptInfo describeAttempt(const Options& options) {
    AttemptInfo info;
    info.unit = chosenUnit(options);
    info.started = utcNow();
    info.command = options.command;
    return info;
}

// Whatever could refuse the run comes before the attempt's folder is made.
ExitStatus runTool(const Options& options) {
    AttemptInfo info = describeAttempt(options);
    if (options.command.empty()) {
        throw WrongUse("which tool? Give its command behind \"--\", such as: -- r8 netR8test");
    }
    if (findProgram(options.command.front()).empty()) {
        throw WrongUse(options.command.front() + ": there is no such program");
    }
    const std::filesystem::path tool = findProgram(toolWord(options.command));
    if (!tool.empty()) {
        info.toolPath = tool;
        info.toolSha256 = sha256OfFile(tool);
    }
    const ReportPipe pipe = openReportPipe(options.fifo);
    Session session(options.results, info, options.language);
    const ToolEnd end =
        superviseTool(options.command, pipe.reader.fd, options.timeoutSeconds, session.handlers());
    return session.finish(end, options.clockJudge);
}

ExitStatus readRecords(const Options& options) {
    AttemptInfo info = describeAttempt(options);
    info.command = {"read", options.input};
    Descriptor input(options.input == "-" ? dup(STDIN_FILENO)
                                          : open(options.input.c_str(), O_RDONLY | O_CLOEXEC));
    if (input.fd < 0) {
        throw WrongUse(options.input + ": " + strerror(errno));
    }
    Session session(options.results, info, options.language);
    return session.finish(readStream(input.fd, session.handlers()), options.clockJudge);
}

ExitStatus writeReport(const Options& options) {
    if (!std::filesystem::is_directory(options.results)) {
        throw WrongUse(options.results + ": there is no such folder");
    }
    const std::filesystem::path page = options.page.empty() ? options.results + "/report.html" : options.page;
    const std::vector<UnitHistory> units = readResults(options.results);
    printTable(std::cout, units);
    writeAtomically(page, htmlPage(units));
    std::cout << page.string() << '\n';
    return exitPassed;
}

void addRunOptions(CLI::App& command, Options& options) {
    const std::map<std::string, ClockJudge> judges = {
        {"ask", ClockJudge::ask}, {"auto", ClockJudge::automatic}, {"leave", ClockJudge::leave}};
    const std::map<std::string, Language> languages = {{"zh", Language::chinese}, {"en", Language::english}};
    CLI::Option* const unit =
        command.add_option("-u,--unit", options.unit, "serial number of the unit under test");
    command.add_flag("--no-unit", options.noUnit, "a trial on a bench, for no unit")->excludes(unit);
    command.add_option("--results", options.results, "folder of the records")->capture_default_str();
    command
        .add_option("--clock", options.clockJudge,
                    "who judges the clock: ask (on a terminal), auto (2 s), leave")
        ->transform(CLI::CheckedTransformer(judges))
        ->option_text("ask|auto|leave [ask]");
    command.add_option("--language", options.language, "zh, or en for English names beside the board's own")
        ->transform(CLI::CheckedTransformer(languages))
        ->option_text("zh|en [zh]");
}

int dispatch(int argc, char** argv) {
    Options options;
    CLI::App app(
        "Runs the board test for one unit, keeps the record, gives the verdict.\n"
        "Exit status: 0 passed, 1 failed, 2 wrong use, 3 incomplete.");
    app.require_subcommand(1);
    CLI::App* const run =
        app.add_subcommand("run", "start the tool: r8-station run --unit SERIAL -- r8 netR8test");
    addRunOptions(*run, options);
    run->add_option("--fifo", options.fifo, "the tool's report pipe")->capture_default_str();
    run->add_option("--timeout", options.timeoutSeconds, "seconds after which the tool is ended; 0: never")
        ->check(CLI::Range(0.0, 1e6));
    CLI::App* const read = app.add_subcommand("read", "read a stored or piped record stream");
    addRunOptions(*read, options);
    read->add_option("file", options.input, "the stream; - is the standard input")->capture_default_str();
    CLI::App* const report = app.add_subcommand("report", "table and page of all units");
    report->add_option("folder", options.results, "folder of the records")->capture_default_str();
    report->add_option("--html", options.page, "where the page goes [FOLDER/report.html]");

    // The tool's command may hold "--" and options of its own, so it never gets near the parser.
    char** const commandMark =
        std::find_if(argv, argv + argc, [](const char* word) { return strcmp(word, "--") == 0; });
    if (commandMark != argv + argc) {
        options.command.assign(commandMark + 1, argv + argc);
    }
    try {
        app.parse(static_cast<int>(commandMark - argv), argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? exitPassed : exitWrongUse;
    }
    return run->parsed() ? runTool(options) : read->parsed() ? readRecords(options) : writeReport(options);
}

}  // namespace
}  // namespace station

int main(int argc, char** argv) {
    station::takeOverSignals();
    try {
        return station::dispatch(argc, argv);
    } catch (const station::WrongUse& error) {
        std::cerr << "r8-station: " << error.what() << '\n';
        return station::exitWrongUse;
    } catch (const std::exception& error) {
        std::cerr << "r8-station: " << error.what() << '\n';
        return station::exitIncomplete;
    }
}
