#include "station/board_attempt.h"

#include <filesystem>
#include <iostream>

#include "station/keep/files.h"
#include "station/keep/utc_time.h"
#include "station/link/board_restart.h"
#include "station/link/board_run.h"
#include "station/link/tool_upload.h"
#include "station/run_setup.h"

namespace station {

namespace {

constexpr int watchdogTest = 9;

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

// One attempt on a board, a call of ssh for each part of the plan.
class BoardAttempt {
  public:
    BoardAttempt(const Options& options, const AttemptInfo& info)
        : options_(options),
          info_(info),
          parts_(partsOf(options, info.command)),
          board_(addressOf(options)) {}

    ExitStatus run() {
        prepare([&] { return std::filesystem::create_directories(options_.results); });
        bring();
        for (const Part& part : parts_) {
            if (!runPart(part)) {
                break;
            }
        }
        return session_->finish(judgeOf(options_));
    }

  private:
    void bring() {
        if (!options_.tool.empty()) {
            bringTool(options_, board_, info_.toolPath);
            broughtSha256_ = prepare([&] { return sha256OfFile(options_.tool); });
        }
    }

    // The attempt begins when the tool has started: before, nothing is tested, whatever fails here.
    StreamHandlers begin(const LinkInfo& link, const std::string& toolSha256) {
        if (!session_) {
            info_.started = utcNow();
            info_.link = link;
            info_.toolSha256 = toolSha256;
            session_ = openSession(options_, info_, parts_);
        }
        begun_ = true;
        return session_->begin();
    }

    ToolEnd supervise(BoardRun& run) {
        try {
            return run.supervise();
        } catch (const std::system_error& error) {
            if (session_) {
                throw;
            }
            throw WrongUse(error.what());
        }
    }

    // False: no more parts.
    bool runPart(const Part& part) {
        const bool isFirst = !session_;
        const bool restarts = part.test == watchdogTest;
        const std::string bootId = restarts ? bootIdOf(board_) : "";
        const double limit = limitOf(options_, part);
        const BoardPlan plan = {options_.fifo, options_.shared, limit, broughtSha256_,
                                commandOf(part, info_.command)};
        begun_ = false;
        BoardRun run = prepare([&] {
            return BoardRun(board_, plan, [this](const LinkInfo& link, const std::string& toolSha256) {
                return begin(link, toolSha256);
            });
        });
        ToolEnd end = supervise(run);
        if (!run.refusal().empty()) {
            if (isFirst) {
                refuse(run.refusal());
            }
            end.brokeOff = run.refusal();
        }
        if (!begun_) {
            (void)session_->begin();  // the part that can not be run is part of the plan all the same
        }
        return bootId.empty() || end.interrupted ? session_->end(end) : endRestart(part, bootId, end);
    }

    [[noreturn]] void refuse(const std::string& why) {
        if (session_) {
            session_->withdraw();
        }
        throw WrongUse(board_.destination + ": " + why);
    }

    // The link may have been cut by what the test is for.
    bool endRestart(const Part& part, const std::string& bootId, ToolEnd end) {
        const Restart restart = {secondsUntilRestart(board_, bootId, part.limitSeconds)};
        if (restart.seconds) {
            end.brokeOff.clear();
            end.exitStatus = end.exitStatus.value_or(0);
            bring();  // the board's /tmp is empty again
        }
        return session_->end(end, restart);
    }

    const Options& options_;
    AttemptInfo info_;
    std::vector<Part> parts_;
    BoardAddress board_;
    std::string broughtSha256_;
    std::unique_ptr<Session> session_;
    bool begun_ = false;  // the part's tool has started
};

}  // namespace

ExitStatus runOnBoard(const Options& options) {
    AttemptInfo info = describeAttempt(options);
    info.command = commandOnBoard(options);
    info.toolPath = info.command.front();
    return BoardAttempt(options, info).run();
}

}  // namespace station
