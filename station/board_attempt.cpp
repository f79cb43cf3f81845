#include "station/board_attempt.h"

#include <filesystem>
#include <iostream>

#include "station/after_attempt.h"
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
    explicit BoardAttempt(const Options& options)
        : options_(options),
          board_(addressOf(options)),
          setup_(setUpAttempt(options, commandOnBoard(options))) {
        setup_.info.toolPath = setup_.info.command.front();
    }

    ExitStatus run() {
        prepare([&] { return std::filesystem::create_directories(options_.results); });
        bring();
        for (const Part& part : setup_.parts) {
            if (!runPart(part)) {
                break;
            }
        }
        return finishAttempt(options_, *session_);
    }

  private:
    void bring() {
        if (!options_.tool.empty()) {
            bringTool(options_, board_, setup_.info.toolPath);
            broughtSha256_ = prepare([&] { return sha256OfFile(options_.tool); });
        }
    }

    // The attempt begins when the tool has started: before, nothing is tested, whatever fails here.
    StreamHandlers begin(const LinkInfo& link, const std::string& toolSha256) {
        if (!session_) {
            setup_.info.started = utcNow();
            setup_.info.link = link;
            setup_.info.toolSha256 = toolSha256;
            session_ = openSession(options_, setup_);
        }
        begun_ = true;
        return session_->begin();
    }

    // Fills refusal where the tool did not start.
    ToolEnd supervise(const Part& part, std::string& refusal) {
        const BoardPlan plan = {options_.fifo, options_.shared, limitOf(options_, part), broughtSha256_,
                                commandOf(part, setup_.info.command)};
        const auto onStarted = [this](const LinkInfo& link, const std::string& toolSha256) {
            return begin(link, toolSha256);
        };
        try {
            BoardRun run(board_, plan, onStarted);
            const ToolEnd end = run.supervise();
            refusal = run.refusal();
            return end;
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
        const BootAnswer boot = part.test == watchdogTest ? askBootId(board_) : BootAnswer();
        std::string refusal = boot.stopped ? "the station was stopped before the tool had started" : "";
        begun_ = false;
        ToolEnd end = boot.stopped ? ToolEnd{.interrupted = true} : supervise(part, refusal);
        if (!refusal.empty() && isFirst) {
            refuse(refusal);
        }
        end.brokeOff = refusal.empty() ? end.brokeOff : refusal;
        if (!begun_) {
            (void)session_->begin();  // the part that can not be run is part of the plan all the same
        }
        return boot.id.empty() || end.interrupted ? session_->end(end) : endRestart(part, boot.id, end);
    }

    [[noreturn]] void refuse(const std::string& why) {
        if (session_) {
            session_->withdraw();
        }
        throw WrongUse(board_.destination + ": " + why);
    }

    // The link may have been cut by what the test is for.
    bool endRestart(const Part& part, const std::string& bootId, ToolEnd end) {
        const RestartAnswer seen = waitForRestart(board_, bootId, limitOf(options_, part));
        if (seen.stopped) {
            end.interrupted = true;
            return session_->end(end);
        }
        if (seen.seconds) {
            end.brokeOff.clear();
            end.exitStatus = end.exitStatus.value_or(0);
            bringAgain();
        }
        return session_->end(end, Restart{seen.seconds});
    }

    // The board's /tmp is empty. Where it takes no tool now, it refuses to start the next part.
    void bringAgain() {
        try {
            bring();
        } catch (const WrongUse& error) {
            std::cerr << error.what() << '\n';
        }
    }

    const Options& options_;
    BoardAddress board_;
    AttemptSetup setup_;
    std::string broughtSha256_;
    std::unique_ptr<Session> session_;
    bool begun_ = false;  // the part's tool has started
};

}  // namespace

ExitStatus runOnBoard(const Options& options) {
    return BoardAttempt(options).run();
}

}  // namespace station
