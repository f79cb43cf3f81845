#include "station/after_attempt.h"

#include <fcntl.h>

#include <iostream>
#include <system_error>

#include "station/interpret/text.h"
#include "station/keep/files.h"
#include "station/keep/utc_time.h"
#include "station/run_setup.h"

namespace station {

namespace {

namespace fs = std::filesystem;

std::string troubleOf(const ToolEnd& end) {
    if (end.timedOut) {
        return "it took too long and was ended";
    }
    if (end.interrupted) {
        return "it was ended, as the station was told to stop";
    }
    if (end.signal != 0) {
        return "it was ended by signal " + std::to_string(end.signal);
    }
    return end.exitStatus == 0 ? "" : "it ended with status " + std::to_string(end.exitStatus.value_or(-1));
}

// Empty when all went well.
std::string runProgram(std::vector<std::string> words, double seconds) {
    ToolStart start;
    start.command = std::move(words);
    start.mustEnd = [limit = TimeLimit(seconds)] { return limit.isOver(); };
    StreamHandlers handlers;  // its output is for people, and standard output is for the verdict
    handlers.records = handlers.console = handlers.errors = [](std::string_view text) { std::cerr << text; };
    handlers.tick = [] {};
    try {
        const host::Descriptor nothing(host::checked(open("/dev/null", O_RDONLY | O_CLOEXEC), "/dev/null"));
        start.input = nothing.get();
        return troubleOf(superviseTool(start, handlers));
    } catch (const std::system_error& error) {
        return error.what();
    }
}

void note(const fs::path& folder, const std::string& trouble) {
    std::cerr << trouble << '\n';
    try {
        writeAtomically(folder / "after.txt", utcNow() + " " + trouble + "\n");
    } catch (const std::system_error&) {
        // It was said, and the record is complete without it.
    }
}

}  // namespace

ExitStatus finishAttempt(const Options& options, Session& session) {
    const ExitStatus status = session.finish(judgeOf(options));
    if (options.after.empty()) {
        return status;
    }
    std::vector<std::string> words = options.after;
    words.push_back(fs::absolute(session.folder()) / "record.json");
    const std::string trouble = runProgram(words, options.afterSeconds);
    if (!trouble.empty()) {
        note(session.folder(), "--after " + options.after.front() + ": " + trouble);
    }
    return status;
}

}  // namespace station
