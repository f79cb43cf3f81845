#include "station/session.h"

#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <utility>

#include "station/interpret/text.h"
#include "station/store/results_index.h"

namespace station {

namespace {

constexpr std::size_t longestConsoleLine = 4096;
constexpr std::size_t mostStreamBytes = 64 * 1024 * 1024;  // a run has some hundred KiB

bool personIsThere() {
    return isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
}

// On a terminal that can, and whose owner has not asked for none of it.
bool mayMoveTheCursor() {
    const char* const noColour = std::getenv("NO_COLOR");
    const char* const kind = std::getenv("TERM");
    return isatty(STDOUT_FILENO) == 1 && (noColour == nullptr || *noColour == '\0') &&
           (kind == nullptr || std::string_view(kind) != "dumb");
}

}  // namespace

Session::Session(const std::filesystem::path& results, AttemptInfo info, Language language)
    : results_(results),
      attempt_(results, std::move(info)),
      view_(stdout, mayMoveTheCursor(), language, readHistory(results)),
      language_(language) {
    interpreter_.onStep = [this](const Step& step) { view_.showStep(step); };
    interpreter_.onLine = [this](const Line& line) {
        attempt_.appendLine(line);
        view_.showLine(line);
    };
}

double Session::now() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

void Session::console(LineBuffer& buffer, std::string_view bytes) {
    buffer.pending += bytes;
    std::string_view left = buffer.pending;
    std::size_t lineEnd;
    while ((lineEnd = std::min(left.find('\n'), longestConsoleLine)) < left.size()) {
        interpreter_.console(now(), buffer.decode(left.substr(0, lineEnd)));
        const bool isCut = left[lineEnd] != '\n';
        if (isCut) {  // what the cut goes through is not understood
            interpreter_.run.addUnknown("a line of more than 4096 bytes on the console");
        }
        left.remove_prefix(lineEnd + (isCut ? 0 : 1));
    }
    buffer.pending.erase(0, buffer.pending.size() - left.size());
}

StreamHandlers Session::handlers() {
    StreamHandlers handlers;
    handlers.records = [this](std::string_view bytes) {
        streamBytes_ += bytes.size();
        if (streamBytes_ > mostStreamBytes) {
            interpreter_.run.addUnknown("more than 64 MiB of records");
            return;
        }
        attempt_.appendStream(bytes);
        framer_.feed(bytes, [this](std::string_view text) { interpreter_.record(now(), utf8FromGbk(text)); });
    };
    handlers.console = [this](std::string_view bytes) { console(output_, bytes); };
    handlers.errors = [this](std::string_view bytes) { console(errors_, bytes); };
    handlers.tick = [this] { view_.showStatus(now()); };
    return handlers;
}

// The pairs of times were on the screen; the person says whether the board's clock is right.
std::optional<bool> Session::askAboutClock() const {
    if (!interpreter_.run.reasons.empty()) {
        return std::nullopt;
    }
    giveBackSignals();
    (void)tcflush(STDIN_FILENO, TCIFLUSH);  // what was typed before the question is no answer to it
    for (const ClockPair& pair : interpreter_.run.values<ClockTimes>().pairs) {
        std::cout << "  " << pair.clock << "   " << pair.system.value_or("") << '\n';
    }
    std::cout << (language_ == Language::english ? "Do clock (left) and system time (right) agree? [y/n] "
                                                 : "时钟时间(左)与系统时间(右)一致吗? [y/n] ")
              << std::flush;
    std::string answer;
    while (std::getline(std::cin, answer)) {
        if (answer == "y" || answer == "Y" || answer == "n" || answer == "N") {
            return answer == "y" || answer == "Y";
        }
        std::cout << "[y/n] " << std::flush;
    }
    return std::nullopt;
}

void Session::withdraw() {
    view_.eraseStatus();
    attempt_.withdraw();
}

ExitStatus Session::finish(const ToolEnd& end, ClockJudge judge) {
    for (const LineBuffer* buffer : {&output_, &errors_}) {
        if (!buffer->pending.empty()) {
            interpreter_.console(now(), buffer->decode(buffer->pending));
        }
    }
    TestRun& run = interpreter_.run;
    interpreter_.finish(now(), end, framer_.torn());
    view_.eraseStatus();
    if (judge == ClockJudge::ask && !personIsThere()) {
        judge = ClockJudge::automatic;
    }
    if (judge == ClockJudge::ask) {
        // Who walks away from the question loses nothing.
        attempt_.finish(run, end, framer_.records, framer_.torn());
    }
    judgeClock(run, judge, [this] { return askAboutClock(); });
    attempt_.finish(run, end, framer_.records, framer_.torn());
    if (run.reasons.empty() && end.exitStatus) {  // a stored stream takes no time
        writeHistory(results_, run);
    }
    view_.showVerdict(attempt_.about(), run, attempt_.folder() / "record.json");
    noteAttempt(results_, attempt_.folder());
    switch (run.outcome) {
        case Outcome::passed:
            return exitPassed;
        case Outcome::failed:
            return exitFailed;
        default:
            return exitIncomplete;
    }
}

}  // namespace station
