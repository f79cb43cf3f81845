#include "station/tool_runs.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <ctime>
#include <iostream>
#include <memory>
#include <system_error>

#include "host/child_process.h"
#include "station/keep/files.h"
#include "station/keep/run_history.h"
#include "station/link/board_run.h"
#include "station/link/report_pipe.h"
#include "station/link/tool_upload.h"
#include "station/session.h"
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

double limitOf(const Options& options) {
    if (options.timeoutSeconds && !std::isfinite(*options.timeoutSeconds)) {
        throw WrongUse("--timeout wants a number of seconds");
    }
    return options.timeoutSeconds ? *options.timeoutSeconds : defaultLimit(readHistory(options.results));
}

void requireProgram(const std::string& name) {
    if (host::findProgram(name).empty()) {
        throw WrongUse(name + ": there is no such program");
    }
}

void requireCommand(const Options& options) {
    if (options.command.empty()) {
        throw WrongUse("which tool? Give its command behind \"--\", such as: -- r8 netR8test");
    }
    requireProgram(options.command.front());
}

ToolStart startOf(const Options& options, int reportPipe) {
    ToolStart start;
    start.command = options.command;
    start.reportPipe = reportPipe;
    start.mustEnd = [limit = TimeLimit(limitOf(options))] { return limit.isOver(); };
    return start;
}

// Whatever could refuse the run comes before the attempt's folder is made.
ExitStatus runHere(const Options& options) {
    AttemptInfo info = describeAttempt(options);
    requireCommand(options);
    const std::filesystem::path tool = host::findProgram(toolWord(options.command));
    if (!tool.empty()) {
        info.toolPath = tool;
        info.toolSha256 = prepare([&] { return sha256OfFile(tool); });
    }
    const ReportPipe pipe = prepare([&] { return openReportPipe(options.fifo); });
    const auto session = openSession(options, info);
    const ToolEnd end = superviseTool(startOf(options, pipe.reader.get()), session->handlers());
    return session->finish(end, judgeOf(options));
}

// The command is the way to a tool, which may be on any machine.
ExitStatus runThroughCommand(const Options& options) {
    AttemptInfo info = describeAttempt(options);
    info.link = LinkInfo{"command", "", "", ""};
    requireCommand(options);
    const auto session = openSession(options, info);
    const ToolEnd end = superviseTool(startOf(options, -1), session->handlers());
    return session->finish(end, judgeOf(options));
}

// The tool's command on the board. What we bring along goes where nothing of the board's is.
std::vector<std::string> commandOnBoard(const Options& options) {
    if (options.command.empty()) {
        return {options.tool.empty() ? "r8" : "/tmp/r8", "netR8test"};
    }
    if (!options.tool.empty() && !options.command.front().starts_with('/')) {
        throw WrongUse(options.command.front() + ": where does --tool go? Give its whole path on the board");
    }
    return options.command;
}

BoardAddress addressOf(const Options& options) {
    requireProgram("ssh");
    return {options.board, options.sshOptions};
}

void bringTool(const Options& options, const BoardAddress& board, const std::string& path) {
    const std::string done = prepare([&] { return uploadTool(board, options.tool, path); });
    std::cout << board.destination << ": " << done << '\n' << std::flush;
}

// The attempt begins when the tool has started: before, nothing is tested, whatever fails here.
ToolEnd superviseOnBoard(BoardRun& run, const std::unique_ptr<Session>& session) {
    try {
        return run.supervise();
    } catch (const std::system_error& error) {
        if (session) {
            throw;
        }
        throw WrongUse(error.what());
    }
}

ExitStatus runOnBoard(const Options& options) {
    AttemptInfo info = describeAttempt(options);
    info.command = commandOnBoard(options);
    info.toolPath = info.command.front();
    const BoardAddress board = addressOf(options);
    prepare([&] { return std::filesystem::create_directories(options.results); });
    if (!options.tool.empty()) {
        bringTool(options, board, info.toolPath);
    }
    std::unique_ptr<Session> session;
    const auto onStarted = [&](const LinkInfo& link, const std::string& toolSha256) {
        info.started = utcNow();
        info.link = link;
        info.toolSha256 = toolSha256;
        session = openSession(options, info);
        return session->handlers();
    };
    const std::string broughtSha256 =
        options.tool.empty() ? "" : prepare([&] { return sha256OfFile(options.tool); });
    const BoardPlan plan = {options.fifo, options.shared, limitOf(options), broughtSha256, info.command};
    BoardRun run = prepare([&] { return BoardRun(board, plan, onStarted); });
    const ToolEnd end = superviseOnBoard(run, session);
    if (!run.refusal().empty()) {
        if (session) {
            session->withdraw();
        }
        throw WrongUse(board.destination + ": " + run.refusal());
    }
    return session->finish(end, judgeOf(options));
}

}  // namespace

ExitStatus runTool(const Options& options) {
    if (!options.board.empty()) {
        return runOnBoard(options);
    }
    return options.records == "stdout" ? runThroughCommand(options) : runHere(options);
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
    return session->finish(readStream(input.get(), TimeLimit(limitOf(options)), session->handlers()),
                           judgeOf(options));
}

}  // namespace station
