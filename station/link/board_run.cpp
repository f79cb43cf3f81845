#include "station/link/board_run.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "station/interpret/text.h"
#include "station/link/board_programs.h"
#include "station/link/refusal.h"

namespace station {

namespace {

constexpr const char* silenceSeconds = "5";  // without a sign of life, then the board ends the tool
constexpr double startSeconds = 30;          // from the call of ssh until the tool has started
constexpr double answerSeconds = 10;         // beyond the tool's limit, for the board to end it and to say so
constexpr std::size_t mostSaid = 1024;       // bytes of what comes before the start that a reason may quote
constexpr std::size_t mostEarly = 1024 * 1024;
constexpr int programRefused = 120;  // exit statuses of the program
constexpr int programEndedTool = 121;
constexpr int signalBase = 128;
constexpr std::int64_t highestSignal = 64;

std::string wholeSeconds(double seconds) {
    return std::to_string(static_cast<long long>(std::ceil(seconds)));
}

std::vector<std::string> argumentsFor(const BoardPlan& plan) {
    std::vector<std::string> arguments = {plan.pipe, silenceSeconds, wholeSeconds(plan.limitSeconds),
                                          plan.shared ? "shared" : "board", plan.toolSha256};
    arguments.insert(arguments.end(), plan.command.begin(), plan.command.end());
    return arguments;
}

// A decimal number and nothing else; -1 for any other text.
int numberIn(std::string_view text, std::int64_t highest) {
    std::int64_t number = 0;
    const LineScanner scanner = LineScanner{text}.number(number);
    const bool fine = scanner && scanner.rest.empty() && number >= 0 && number <= highest;
    return fine ? static_cast<int>(number) : -1;
}

bool isSha256(std::string_view text) {
    constexpr std::size_t digits = 64;
    return text.size() == digits && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

// The program's words for what made it end a tool that ran; "timeout" has a place of its own in the end.
std::string textOfEarlyEnd(std::string_view why) {
    if (why == "silence") {
        return "the board heard no more from the station and ended the tool";
    }
    if (why == "signal") {
        return "somebody on the board ended the run by a signal";
    }
    return why == "copier" ? "somebody on the board ended the process that hands on the records" : "";
}

}  // namespace

BoardRun::BoardRun(const BoardAddress& board, const BoardPlan& plan, OnStarted onStarted)
    : call_(board, boardProgram, argumentsFor(plan)),
      plan_(plan),
      onStarted_(std::move(onStarted)),
      scanner_(call_.token()),
      limit_(startSeconds) {
    link_.by = "ssh";
    link_.destination = board.destination;
}

void BoardRun::start() {
    phase_ = Phase::running;
    limit_ = TimeLimit(plan_.limitSeconds > 0 ? plan_.limitSeconds + answerSeconds : 0);
    link_.hostKey = call_.hostKey();
    handlers_ = onStarted_(link_, toolSha256_);
    readRecords(std::exchange(early_, {}));
}

// False for what the program does not say at this place.
bool BoardRun::readStart(std::string_view word, std::string_view rest) {
    if (word == "kernel" && phase_ == Phase::connecting) {
        link_.kernel = utf8FromEither(rest);
        phase_ = Phase::checking;
        return true;
    }
    if (phase_ != Phase::checking) {
        return false;
    }
    if (word == "sha256" && toolSha256_.empty() && isSha256(rest)) {
        toolSha256_ = rest;
        return true;
    }
    if (word == "started" && numberIn(rest, INT32_MAX) > 0) {
        start();
        return true;
    }
    return false;
}

bool BoardRun::readEnd(std::string_view word, std::string_view rest) {
    if (word == "refused" && phase_ != Phase::connecting) {
        const std::string_view reason = rest.substr(0, rest.find(' '));
        refusal_ =
            textOfRefusal(reason, utf8FromEither(rest.substr(std::min(reason.size() + 1, rest.size()))));
        status_ = programRefused;
        phase_ = Phase::ended;
        return !refusal_.empty();
    }
    if (phase_ != Phase::running) {
        return false;
    }
    if (word == "left") {
        return true;  // what the tool left running was ended as well
    }
    if (word == "ended" && why_.empty()) {
        why_ = rest;
        return rest == "timeout" || !textOfEarlyEnd(rest).empty();
    }
    const int number = numberIn(rest, word == "signal" ? highestSignal : UINT8_MAX);
    if (number < 0 || (word != "exit" && word != "signal")) {
        return false;
    }
    if (word == "exit") {
        told_.exitStatus = number;
    } else {
        told_.signal = number;
    }
    status_ = !why_.empty() ? programEndedTool : word == "exit" ? number : signalBase + number;
    phase_ = Phase::ended;
    limit_ = TimeLimit(answerSeconds);  // whoever the tool left behind may keep the connection open
    return true;
}

void BoardRun::readMarker(std::string_view line) {
    const std::string_view word = line.substr(0, line.find(' '));
    const std::string_view rest = line.substr(std::min(word.size() + 1, line.size()));
    if (phase_ == Phase::ended || (!readStart(word, rest) && !readEnd(word, rest))) {
        strange_ = strange_.empty() ? utf8FromEither(line) : strange_;
    }
}

// The two streams do not wait for each other.
void BoardRun::readRecords(std::string_view bytes) {
    recordsCame_ = recordsCame_ || !bytes.empty();
    if (handlers_.records) {
        handlers_.records(bytes);
    } else if (early_.size() < mostEarly) {
        early_ += bytes;
    }
}

void BoardRun::readRest(std::string_view bytes) {
    if (handlers_.console) {
        handlers_.console(bytes);
    } else {
        said_.append(bytes.substr(0, mostSaid - std::min(mostSaid, said_.size())));
    }
}

bool BoardRun::mustEnd() const {
    return !strange_.empty() || limit_.isOver();
}

ToolEnd BoardRun::supervise() {
    StreamHandlers streams;
    const auto onRest = [this](std::string_view bytes) { readRest(bytes); };
    streams.records = [this](std::string_view bytes) { readRecords(bytes); };
    streams.errors = [&](std::string_view bytes) {
        scanner_.feed(
            bytes, [this](std::string_view line) { readMarker(line); }, onRest);
    };
    streams.tick = [this] {
        if (handlers_.tick) {
            handlers_.tick();
        }
    };
    ToolStart start;
    start.command = call_.words();
    start.isLink = true;
    start.mustEnd = [this] { return mustEnd(); };
    const ToolEnd ssh = superviseTool(start, streams);
    scanner_.finish(onRest);
    ToolEnd end = endOf(ssh);
    if (recordsCame_ && handlers_.records) {
        end.brokeOff = refusal_.empty() ? end.brokeOff : std::exchange(refusal_, {});
    } else if (!handlers_.records || !refusal_.empty()) {
        settleRefusal(ssh);
    }
    return end;
}

// Nothing was tested; the reason is the program's own or has to be found.
void BoardRun::settleRefusal(const ToolEnd& ssh) {
    if (ssh.interrupted) {
        refusal_ = "the station was stopped before the tool had started";
    } else if (!strange_.empty()) {
        refusal_ = "not known to this station: " + strange_;
    } else if (refusal_.empty() && ssh.timedOut) {
        refusal_ = "the board does not come to start the tool within " + wholeSeconds(startSeconds) + " s";
    } else if (refusal_.empty() && phase_ == Phase::connecting &&
               ssh.exitStatus.value_or(sshFailed) != sshFailed) {
        refusal_ = "the board has no shell that runs our program; status " + std::to_string(*ssh.exitStatus);
    } else if (refusal_.empty()) {
        refusal_ = textOfSshEnd(call_, ssh);
    }
    const std::string said = utf8FromEither(said_);
    forEachLine(said, [this](std::string_view line) { refusal_ += "\n  " + std::string(line); });
}

// The program's last line counts only together with an exit status that goes with it.
ToolEnd BoardRun::endOf(const ToolEnd& ssh) {
    ToolEnd end = told_;
    end.interrupted = ssh.interrupted;
    end.timedOut = why_ == "timeout" || (ssh.timedOut && strange_.empty());
    if (!strange_.empty()) {
        end.brokeOff = "not known to this station: the board's line " + strange_;
    } else if (phase_ != Phase::ended) {
        end.brokeOff = "the way to the board broke off: " + textOfSshEnd(call_, ssh);
    } else if (ssh.exitStatus != status_) {
        end.brokeOff = "the board's last line does not go with the end of ssh: " + textOfSshEnd(call_, ssh);
    } else if (!end.interrupted && !end.timedOut) {
        end.brokeOff = textOfEarlyEnd(why_);
    }
    return end;
}

}  // namespace station
