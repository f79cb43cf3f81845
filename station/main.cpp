// r8-station: runs the board-test tool for one unit, keeps the record and gives the verdict.

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <iostream>
#include <memory>
#include <system_error>

#include "report.h"
#include "report_pipe.h"
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
    std::string clock = "ask";
    std::string language = "zh";
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

// Without what a scanner puts around it: the same label must not name two units.
std::optional<std::string> chosenUnit(const Options& options) {
    if (options.noUnit) {
        return std::nullopt;
    }
    const char* const blanks = " \t\r\n";
    const size_t first = options.unit.find_first_not_of(blanks);
    if (first == std::string::npos) {
        throw WrongUse("which unit is on the station? Give --unit SERIAL, or --no-unit on a bench");
    }
    const std::string unit = options.unit.substr(first, options.unit.find_last_not_of(blanks) - first + 1);
    if (unit.size() > longestUnit) {
        throw WrongUse("the unit's name is longer than " + std::to_string(longestUnit) + " bytes");
    }
    if (utf8FromEither(unit) != unit || unit.find_first_of("\t\n") != std::string::npos) {
        throw WrongUse("the unit's name holds control characters, or is no UTF-8");
    }
    return unit;
}

// The tool is the word before the first "netR8test". Behind a launcher only a path tells which file that is:
// a bare name may belong to another machine. Empty when it is not known.
std::string toolWord(const std::vector<std::string>& command) {
    const auto mode = std::find(command.begin(), command.end(), "netR8test");
    if (mode == command.begin() || mode == command.end()) {
        return command.front();
    }
    const std::string& word = *(mode - 1);
    return mode - 1 == command.begin() || word.find('/') != std::string::npos ? word : "";
}

// What fails while nothing has been tested is wrong use, as far as a script is concerned.
template <typename Preparation>
auto prepare(const Preparation& preparation) {
    try {
        return preparation();
    } catch (const std::system_error& error) {
        throw WrongUse(error.what());
    }
}

std::unique_ptr<Session> openSession(const Options& options, const AttemptInfo& info) {
    const Language language = options.language == "en" ? Language::english : Language::chinese;
    return prepare([&] { return std::make_unique<Session>(options.results, info, language); });
}

ClockJudge judgeOf(const Options& options) {
    return options.clock == "ask"    ? ClockJudge::ask
           : options.clock == "auto" ? ClockJudge::automatic
                                     : ClockJudge::leave;
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
    if (!(options.timeoutSeconds >= 0)) {
        throw WrongUse("--timeout wants seconds");
    }
    if (findProgram(options.command.front()).empty()) {
        throw WrongUse(options.command.front() + ": there is no such program");
    }
    const std::filesystem::path tool = findProgram(toolWord(options.command));
    if (!tool.empty()) {
        info.toolPath = tool;
        info.toolSha256 = prepare([&] { return sha256OfFile(tool); });
    }
    const ReportPipe pipe = prepare([&] { return openReportPipe(options.fifo); });
    const auto session = openSession(options, info);
    const ToolEnd end =
        superviseTool(options.command, pipe.reader.fd, options.timeoutSeconds, session->handlers());
    return session->finish(end, judgeOf(options));
}

ExitStatus readRecords(const Options& options) {
    AttemptInfo info = describeAttempt(options);
    info.command = {"read", options.input};
    // A pipe that nobody writes to yet must not keep us where no stop signal is seen.
    const Descriptor input(options.input == "-"
                               ? dup(STDIN_FILENO)
                               : open(options.input.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (input.fd < 0 || std::filesystem::is_directory(options.input)) {
        throw WrongUse(options.input + ": " + strerror(input.fd < 0 ? errno : EISDIR));
    }
    const auto session = openSession(options, info);
    return session->finish(readStream(input.fd, session->handlers()), judgeOf(options));
}

ExitStatus writeReport(const Options& options) {
    if (!std::filesystem::is_directory(options.results)) {
        throw WrongUse(options.results + ": there is no such folder");
    }
    const std::filesystem::path page = options.page.empty() ? options.results + "/report.html" : options.page;
    const std::vector<UnitHistory> units = readResults(options.results);
    printTable(std::cout, units);
    writeAtomically(page, htmlPage(units));
    std::cout << page.string() << '\n' << std::flush;
    if (!std::cout) {
        throw WrongUse("the table could not be written");
    }
    return exitPassed;
}

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
    command.add_option("--language", options.language, "zh, or en for English names beside the board's own")
        ->check(CLI::IsMember({"zh", "en"}))
        ->capture_default_str();
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
    const bool hasCommand = argc > 1 && strcmp(argv[1], "run") == 0;
    char** const commandMark = std::find_if(
        argv, argv + argc, [hasCommand](const char* word) { return hasCommand && strcmp(word, "--") == 0; });
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

// Started without standard descriptors, our own files would get their numbers, and what we print.
void fillStandardDescriptors() {
    int fd;
    while ((fd = open("/dev/null", O_RDWR)) >= 0 && fd <= STDERR_FILENO) {
    }
    (void)close(fd);  // no harm when it did not open
}

}  // namespace
}  // namespace station

int main(int argc, char** argv) {
    station::fillStandardDescriptors();
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
