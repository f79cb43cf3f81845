#include "session.h"

#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>

#include "text.h"

namespace station {

namespace {

constexpr size_t longestConsoleLine = 4096;

bool personIsThere() {
    return isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
}

}  // namespace

Session::Session(const std::filesystem::path& resultsFolder, AttemptInfo info, Language words)
    : results(resultsFolder),
      attempt(resultsFolder, std::move(info)),
      view(stdout, isatty(STDOUT_FILENO) == 1, words, readHistory(resultsFolder)),
      language(words) {
    interpreter.onStep = [this](const Step& step) { view.showStep(step); };
    interpreter.onLine = [this](const Line& line) {
        attempt.appendLine(line);
        view.showLine(line);
    };
}

double Session::now() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void Session::console(LineBuffer& buffer, std::string_view bytes) {
    buffer.pending += bytes;
    std::string_view left = buffer.pending;
    size_t lineEnd;
    while ((lineEnd = std::min(left.find('\n'), longestConsoleLine)) < left.size()) {
        interpreter.console(now(), buffer.decode(left.substr(0, lineEnd)));
        left.remove_prefix(lineEnd + (left[lineEnd] == '\n' ? 1 : 0));
    }
    buffer.pending.erase(0, buffer.pending.size() - left.size());
}

StreamHandlers Session::handlers() {
    StreamHandlers handlers;
    handlers.records = [this](std::string_view bytes) {
        attempt.appendStream(bytes);
        framer.feed(bytes, [this](std::string_view text) { interpreter.record(now(), utf8FromGbk(text)); });
    };
    handlers.console = [this](std::string_view bytes) { console(output, bytes); };
    handlers.errors = [this](std::string_view bytes) { console(errors, bytes); };
    handlers.tick = [this] { view.showStatus(now()); };
    return handlers;
}

// The pairs of times were on the screen; the person says whether the board's clock is right.
std::optional<bool> Session::askAboutClock() const {
    if (!interpreter.run.reasons.empty()) {
        return std::nullopt;
    }
    giveBackSignals();
    (void)tcflush(STDIN_FILENO, TCIFLUSH);  // what was typed before the question is no answer to it
    for (const Json& pair : interpreter.run.items[clockItem].measured.value("pairs", Json::array())) {
        std::cout << "  " << pair.value("clock", "") << "   " << pair.value("system", "") << '\n';
    }
    std::cout << (language == Language::english ? "Do clock (left) and system time (right) agree? [y/n] "
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

ExitStatus Session::finish(const ToolEnd& end, ClockJudge judge) {
    for (const LineBuffer* buffer : {&output, &errors}) {
        if (!buffer->pending.empty()) {
            interpreter.console(now(), buffer->decode(buffer->pending));
        }
    }
    TestRun& run = interpreter.run;
    interpreter.finish(now(), end, framer.torn());
    view.eraseStatus();
    if (judge == ClockJudge::ask && !personIsThere()) {
        judge = ClockJudge::automatic;
    }
    if (judge == ClockJudge::ask) {
        // Who walks away from the question loses nothing.
        attempt.finish(run, end, framer.records, framer.torn());
    }
    judgeClock(run, judge, [this] { return askAboutClock(); });
    attempt.finish(run, end, framer.records, framer.torn());
    if (run.reasons.empty() && end.exitStatus) {  // a stored stream takes no time
        writeHistory(results, run);
    }
    view.showVerdict(attempt.about(), run, attempt.folder() / "record.json");
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
