// r8-station: runs the board-test tool for one unit, keeps the record and gives the verdict.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <iostream>
#include <memory>
#include <system_error>

#include "host/child_process.h"
#include "station/command_line.h"
#include "station/keep/files.h"
#include "station/link/report_pipe.h"
#include "station/session.h"
#include "station/show/report.h"
#include "station/wrong_use.h"

namespace station {
namespace {

std::string utcNow() {
    const std::time_t now = std::time(nullptr);
    std::tm parts = {};
    char text[32];
    (void)gmtime_r(&now, &parts);
    (void)std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
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
    if (host::findProgram(options.command.front()).empty()) {
        throw WrongUse(options.command.front() + ": there is no such program");
    }
    const std::filesystem::path tool = host::findProgram(toolWord(options.command));
    if (!tool.empty()) {
        info.toolPath = tool;
        info.toolSha256 = prepare([&] { return sha256OfFile(tool); });
    }
    const ReportPipe pipe = prepare([&] { return openReportPipe(options.fifo); });
    const auto session = openSession(options, info);
    const ToolEnd end =
        superviseTool(options.command, pipe.reader.get(), options.timeoutSeconds, session->handlers());
    return session->finish(end, judgeOf(options));
}

ExitStatus readRecords(const Options& options) {
    AttemptInfo info = describeAttempt(options);
    info.command = {"read", options.input};
    // A pipe that nobody writes to yet must not keep us where no stop signal is seen.
    const host::Descriptor input(options.input == "-"
                                     ? dup(STDIN_FILENO)
                                     : open(options.input.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!input.isOpen() || std::filesystem::is_directory(options.input)) {
        throw WrongUse(options.input + ": " + strerror(input.isOpen() ? EISDIR : errno));
    }
    const auto session = openSession(options, info);
    return session->finish(readStream(input.get(), session->handlers()), judgeOf(options));
}

ExitStatus reportResults(const Options& options) {
    if (!std::filesystem::is_directory(options.results)) {
        throw WrongUse(options.results + ": there is no such folder");
    }
    const std::filesystem::path page = options.page.empty() ? options.results + "/report.html" : options.page;
    writeReport(options.results, page, std::cout);
    std::cout << page.string() << '\n' << std::flush;
    if (!std::cout) {
        throw WrongUse("the table could not be written");
    }
    return exitPassed;
}

int dispatch(int argc, char** argv) {
    const CommandLine line = parseCommandLine(argc, argv);
    if (line.status) {
        return *line.status;
    }
    switch (line.options.task) {
        case Task::run:
            return runTool(line.options);
        case Task::read:
            return readRecords(line.options);
        default:
            return reportResults(line.options);
    }
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
