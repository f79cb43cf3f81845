#include "station/session.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <utility>

#include "station/interpret/items.h"
#include "station/interpret/text.h"
#include "station/keep/utc_time.h"
#include "station/product/judge.h"
#include "station/show/operator_prompt.h"
#include "station/store/results_index.h"

namespace station {

namespace {

constexpr std::size_t mostStreamBytes = 64 * 1024 * 1024;  // a run has some hundred KiB

// On a terminal that can, and whose owner has not asked for none of it.
bool mayMoveTheCursor() {
    const char* const noColour = std::getenv("NO_COLOR");
    const char* const kind = std::getenv("TERM");
    return isatty(STDOUT_FILENO) == 1 && (noColour == nullptr || *noColour == '\0') &&
           (kind == nullptr || std::string_view(kind) != "dumb");
}

// Both languages: whoever is at the bench reads one of them.
std::string textOf(const OperatorQuestion& question) {
    return std::string(question.chinese) + " / " + question.english;
}

}  // namespace

Session::Session(const std::filesystem::path& results, AttemptInfo info, Language language,
                 std::vector<Part> parts)
    : results_(results),
      parts_(std::move(parts)),
      attempt_(results, std::move(info)),
      view_(stdout, mayMoveTheCursor(), language, readHistory(results)) {
    interpreter_.onStep = [this](const Step& step) { view_.showStep(step); };
    interpreter_.onLine = [this](const Line& line) {
        attempt_.appendLine(line);
        view_.showLine(line);
    };
    std::vector<std::string> titles;
    for (const Part& part : parts_) {
        titles.push_back(titleOf(part, language == Language::english));
    }
    view_.showPlan(titles);
    if (!attempt_.about().product) {
        view_.showNotice({"没有产品文件: 不知道合格的产品应该是什么样",
                          "no product file: nothing told the station what to expect of this unit"});
    }
}

double Session::now() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

void Session::addUnknown(std::string_view text) {
    (isFullRun() ? interpreter_.run : single().run).addUnknown(text);
}

void Session::consoleLine(std::string_view line, bool isCut) {
    if (isFullRun()) {
        interpreter_.console(now(), line);
    } else {
        single().console(now(), line);
    }
    if (isCut) {
        addUnknown("a line of more than 4096 bytes on the console");
    }
}

void Session::records(std::string_view bytes) {
    streamBytes_ += bytes.size();
    if (streamBytes_ > mostStreamBytes) {
        return addUnknown("more than 64 MiB of records");
    }
    attempt_.appendStream(bytes);
    if (!isFullRun() && !bytes.empty()) {
        return addUnknown("records of a single test");
    }
    framer_.feed(bytes, [this](std::string_view text) { interpreter_.record(now(), utf8FromGbk(text)); });
}

StreamHandlers Session::begin() {
    current_ += begun_ ? 1 : 0;
    begun_ = true;
    view_.showPart(current_, now(), isFullRun());
    if (isFullRun()) {
        Step& preparation = interpreter_.run.steps.front();
        preparation.start = preparation.end = now();
    } else {
        singles_.push_back(std::make_unique<SingleTest>(part().test, part().repetitions, now()));
        single().onLine = interpreter_.onLine;
    }
    const auto onLine = [this](std::string_view line, bool isCut) { consoleLine(line, isCut); };
    StreamHandlers handlers;
    handlers.records = [this](std::string_view bytes) { records(bytes); };
    handlers.console = [this, onLine](std::string_view bytes) { output_.feed(bytes, onLine); };
    handlers.errors = [this, onLine](std::string_view bytes) { errors_.feed(bytes, onLine); };
    handlers.tick = [this] { view_.showStatus(now()); };
    const auto& link = attempt_.about().link;
    if (!isFullRun() && link && link->by == "command") {
        handlers.records = handlers.console;  // a single test has no records: its output is the console
    }
    return handlers;
}

bool Session::hasFullRun() const {
    return std::any_of(parts_.begin(), parts_.end(), [](const Part& one) { return one.test == 0; });
}

bool Session::end(const ToolEnd& end, const std::optional<Restart>& restart) {
    for (ConsoleLines* const lines : {&output_, &errors_}) {
        lines->finish([this](std::string_view line, bool isCut) { consoleLine(line, isCut); });
    }
    view_.eraseStatus();
    ++ended_;
    if (isFullRun()) {
        end_ = end;
        fullRunSeconds_ = now() - interpreter_.run.steps.front().start;
        interpreter_.finish(now(), end, framer_.torn());
        return !end.interrupted;
    }
    end_ = hasFullRun() ? end_ : end;
    single().finish(now(), end);
    if (restart) {
        judgeRestart(*restart);
    }
    return !end.interrupted && askAbout(single());
}

// It was seen, so nobody needs to be asked.
void Session::judgeRestart(const Restart& restart) {
    single().run.values<Watchdog>().restartSeconds = restart.seconds;
    (void)answerItem(single().item(), restart.seconds.has_value(),
                     "the board did not come back, newly started, in time");
}

// Right behind the test, while the operator's ears and eyes remember it.
bool Session::askAbout(SingleTest& test) {
    const OperatorQuestion* const question = questionAbout(test.row().name);
    const bool isOpen = test.item().outcome == Outcome::needsPerson && question != nullptr;
    if (!isOpen || !part().asks || !personIsThere()) {
        return true;
    }
    const OperatorAnswer answer = askOperator(textOf(*question), part().answerSeconds);
    if (answer == OperatorAnswer::yes || answer == OperatorAnswer::no) {
        (void)answerItem(test.item(), answer == OperatorAnswer::yes, question->failed);
        remember(test.item());
    }
    return answer != OperatorAnswer::stopped;
}

void Session::remember(const Item& item) {
    const std::string& by = attempt_.about().station.operatorName;
    interpreter_.run.settled.push_back(
        {std::string(item.row->name), item.outcome, by.empty() ? "operator" : by, utcNow()});
}

// The pairs of times were on the screen; the person says whether the board's clock is right.
std::optional<bool> Session::askAboutClock() {
    if (!interpreter_.run.reasons.empty()) {
        return std::nullopt;
    }
    for (const ClockPair& pair : interpreter_.run.values<ClockTimes>().pairs) {
        std::cout << "  " << pair.clock << "   " << pair.system.value_or("") << '\n';
    }
    const OperatorAnswer answer = askOperator(textOf(*questionAbout("clock")), 0);
    if (answer == OperatorAnswer::stopped) {
        giveBackSignals();  // which end us now
    }
    return answer == OperatorAnswer::yes || answer == OperatorAnswer::no
               ? std::optional(answer == OperatorAnswer::yes)
               : std::nullopt;
}

void Session::withdraw() {
    view_.eraseStatus();
    attempt_.withdraw();
}

// All parts become one run.
void Session::collect() {
    TestRun& run = interpreter_.run;
    if (!hasFullRun()) {
        leaveOutFullRun(run);
    }
    for (const std::unique_ptr<SingleTest>& test : singles_) {
        joinSingle(run, *test);
    }
    if (ended_ != parts_.size() && run.reasons.empty()) {
        run.reasons.push_back("the station was stopped before the plan's end");
    }
    run.seconds = now();
    checkAddresses(run, ownerOfMac);
    settleOutcome(run);
    judgeByProduct(run, product.get(), attempt_.about().only.empty() && !run.steps.empty());
    settleWhole(run, !attempt_.about().only.empty());
}

void Session::judgeClocks(ClockJudge judge) {
    TestRun& run = interpreter_.run;
    for (TestRun& single : run.singles) {
        judgeClock(single, judge == ClockJudge::ask ? ClockJudge::leave : judge, {});
    }
    Item& clock = run.item<ClockTimes>();
    const bool wasOpen = clock.outcome == Outcome::needsPerson;
    judgeClock(run, judge, [this] { return askAboutClock(); });
    if (judge == ClockJudge::ask && wasOpen && clock.outcome != Outcome::needsPerson) {
        remember(clock);
    }
    settleWhole(run, !attempt_.about().only.empty());
}

ExitStatus Session::finish(ClockJudge judge) {
    TestRun& run = interpreter_.run;
    collect();
    if (judge == ClockJudge::ask && !personIsThere()) {
        judge = ClockJudge::automatic;
    }
    if (judge == ClockJudge::ask || ownerOfMac) {
        explain(run, product.get());
        keep();                // who walks away from the question loses nothing
        ownerOfMac = nullptr;  // with its lock: other units see our addresses now
    }
    judgeClocks(judge);
    explain(run, product.get());
    keep();
    if (run.reasons.empty() && end_.exitStatus && fullRunSeconds_ != 0) {  // a stored stream takes no time
        writeHistory(results_, run, fullRunSeconds_);
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
