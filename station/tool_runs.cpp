#include "station/tool_runs.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/child_process.h"
#include "station/after_attempt.h"
#include "station/board_attempt.h"
#include "station/keep/files.h"
#include "station/link/report_pipe.h"
#include "station/run_setup.h"

namespace station {

namespace {

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

void requireCommand(const Options& options) {
    if (options.command.empty()) {
        throw WrongUse("which tool? Give its command behind \"--\", such as: -- r8 netR8test");
    }
    requireProgram(options.command.front());
}

ToolStart startOf(const Options& options, const Part& part, int reportPipe) {
    ToolStart start;
    start.command = commandOf(part, options.command);
    start.reportPipe = reportPipe;
    start.mustEnd = [limit = TimeLimit(limitOf(options, part))] { return limit.isOver(); };
    return start;
}

ExitStatus runParts(const Options& options, Session& session, int reportPipe) {
    bool goesOn = true;
    while (goesOn && session.hasMore()) {
        const StreamHandlers handlers = session.begin();
        goesOn = session.end(superviseTool(startOf(options, session.part(), reportPipe), handlers));
    }
    return finishAttempt(options, session);
}

// Whatever could refuse the run comes before the attempt's folder is made.
ExitStatus runHere(const Options& options) {
    requireCommand(options);
    AttemptSetup setup = setUpAttempt(options, options.command);
    const std::filesystem::path tool = host::findProgram(toolWord(options.command));
    if (!tool.empty()) {
        setup.info.toolPath = tool;
        setup.info.toolSha256 = prepare([&] { return sha256OfFile(tool); });
    }
    const ReportPipe pipe = prepare([&] { return openReportPipe(options.fifo); });
    const auto session = openSession(options, setup);
    return runParts(options, *session, pipe.reader.get());
}

// The command is the way to a tool, which may be on any machine.
ExitStatus runThroughCommand(const Options& options) {
    requireCommand(options);
    AttemptSetup setup = setUpAttempt(options, options.command);
    setup.info.link = LinkInfo{"command", "", "", ""};
    const auto session = openSession(options, setup);
    return runParts(options, *session, -1);
}

}  // namespace

ExitStatus runTool(const Options& options) {
    if (!options.board.empty()) {
        return runOnBoard(options);
    }
    return options.records == "stdout" ? runThroughCommand(options) : runHere(options);
}

ExitStatus readRecords(const Options& options) {
    // A pipe that nobody writes to yet must not keep us where no stop signal is seen.
    const host::Descriptor input(options.input == "-"
                                     ? dup(STDIN_FILENO)
                                     : open(options.input.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!input.isOpen() || std::filesystem::is_directory(options.input)) {
        throw WrongUse(options.input + ": " + strerror(input.isOpen() ? EISDIR : errno));
    }
    AttemptSetup setup = setUpAttempt(options, {"read", options.input});
    const auto session = openSession(options, setup);
    const StreamHandlers handlers = session->begin();
    (void)session->end(readStream(input.get(), TimeLimit(limitOf(options)), handlers));
    return finishAttempt(options, *session);
}

}  // namespace station
