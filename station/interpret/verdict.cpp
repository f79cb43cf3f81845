#include "station/interpret/verdict.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "station/interpret/items.h"
#include "station/interpret/summary_lines.h"

namespace station {

namespace {

constexpr std::int64_t clockToleranceSeconds = 2;
constexpr std::size_t clockPairs = 3;

void settle(Item& item, Outcome outcome, std::string reason) {
    item.outcome = outcome;
    item.reason = std::move(reason);
}

using Judgement = std::pair<Outcome, std::string>;

// The tool's summary counts what it could not test as passed, so a verdict is worth what the lines show.
Judgement judge(const TestRun& run, const ItemRow& row, const Item& item) {
    const std::string idle = row.idle == nullptr ? "" : row.idle(run);
    const std::string lacks = row.lacks == nullptr ? "" : row.lacks(run);
    if (!item.verdict && !item.leftToPerson) {
        return {Outcome::incomplete, "no verdict came"};
    }
    if (item.verdict == false) {
        return {Outcome::failed, item.reason};
    }
    if (!item.contradiction.empty()) {
        return {Outcome::failed, item.contradiction};
    }
    if (!item.broken.empty()) {
        return {Outcome::incomplete, "a line that can not be read: " + item.broken};
    }
    if (!item.announced && row.presence == Presence::everyBoard) {
        return {Outcome::incomplete, "its step, which every run has, did not come"};
    }
    if (!idle.empty()) {
        return {Outcome::skipped, idle};
    }
    if (!item.checked && run.lostLines != 0) {
        return {Outcome::incomplete, "lines were lost, it is not known whether the step ran"};
    }
    if (!item.announced) {
        return {Outcome::skipped, "the step did not run"};
    }
    if (!item.checked) {
        return {Outcome::failed, "the step was announced, but nothing was checked"};
    }
    if (!lacks.empty()) {
        return {Outcome::incomplete, lacks};
    }
    return {item.leftToPerson ? Outcome::needsPerson : Outcome::passed, ""};
}

// What the tool has told of a single test.
Judgement judgeSingle(const TestRun& run, const Item& item) {
    const ItemRow& row = *item.row;
    if (!item.contradiction.empty()) {
        return {Outcome::failed, item.contradiction};
    }
    if (!item.broken.empty()) {
        return {Outcome::incomplete, "a line that can not be read: " + item.broken};
    }
    if (!item.checked) {
        return {Outcome::failed, "the test ended and had checked nothing"};
    }
    const auto lacks = row.singleLacks != nullptr ? row.singleLacks : row.lacks;
    const std::string missing = lacks == nullptr ? "" : lacks(run);
    if (!missing.empty()) {
        return {Outcome::incomplete, missing};
    }
    return {item.leftToPerson ? Outcome::needsPerson : Outcome::passed, ""};
}

// Steps that do not run take no number: where a number is missing, the stream has a hole.
bool numbersHaveGap(const TestRun& run) {
    int last = 0;
    for (const Step& step : run.steps) {
        if (step.number != 0 && step.number != ++last) {
            return true;
        }
    }
    return false;
}

// A numbered part of the run that is none of the steps we know.
void findUnknownSteps(TestRun& run) {
    for (const Step& step : run.steps) {
        if (step.number != 0 && step.name == otherStep) {
            run.addUnknown("step " + std::to_string(step.number) + " " + step.title);
        }
    }
}

// What the tool's own end has against the run.
std::vector<std::string> toolEndReasons(const ToolEnd& end) {
    std::vector<std::string> reasons;
    if (end.timedOut) {
        reasons.push_back("the tool did not end in time");
    }
    if (end.interrupted) {
        reasons.push_back("the station was stopped");
    }
    if (!end.brokeOff.empty()) {
        reasons.push_back(end.brokeOff);
    }
    if (end.signal != 0) {
        reasons.push_back("the tool was killed by signal " + std::to_string(end.signal));
    } else if (end.exitStatus.value_or(0) != 0) {
        reasons.push_back("the tool ended with status " + std::to_string(*end.exitStatus));
    }
    return reasons;
}

void addUnknownTexts(const TestRun& run, std::vector<std::string>& reasons) {
    for (const std::string& text : run.unknown) {
        reasons.push_back("not known to this station: " + text);
    }
}

// Why the run can't be trusted to have ended as it should.
std::vector<std::string> endReasons(const TestRun& run, const ToolEnd& end, bool torn) {
    std::vector<std::string> reasons = toolEndReasons(end);
    if (torn) {
        reasons.push_back("the record stream is torn");
    }
    if (numbersHaveGap(run)) {
        reasons.push_back("the steps' numbers have a gap, lines are missing");
    }
    addUnknownTexts(run, reasons);
    if (run.lostLines != 0) {
        reasons.push_back("records that the tool could not write: " + std::to_string(run.lostLines));
    }
    if (!run.arrived) {
        reasons.push_back("no record came; was the tool started with netR8test?");
    } else if (!run.ended) {
        reasons.push_back("no end marker came");
    }
    return reasons;
}

// None when it can't be told: the test prints three pairs, and where a time was lost the others belong to the
// wrong ones.
std::optional<bool> clockAgrees(const TestRun& run) {
    const std::vector<ClockPair>& pairs = run.values<ClockTimes>().pairs;
    if (pairs.size() != clockPairs || !pairs.back().differenceSeconds) {
        return std::nullopt;
    }
    return std::all_of(pairs.begin(), pairs.end(), [](const ClockPair& pair) {
        return std::abs(*pair.differenceSeconds) <= clockToleranceSeconds;
    });
}

bool hasItem(const TestRun& run, Outcome outcome) {
    const auto isSuch = [outcome](const Item& item) {
        return item.isOfThisBoard() && item.outcome == outcome;
    };
    return std::any_of(run.items.begin(), run.items.end(), isSuch) ||
           std::any_of(run.singles.begin(), run.singles.end(),
                       [outcome](const TestRun& single) { return hasItem(single, outcome); });
}

}  // namespace

void settleOutcome(TestRun& run) {
    // The worst first: a run that is not known to be whole proves nothing, whatever its items say.
    constexpr Outcome order[] = {Outcome::incomplete, Outcome::failed, Outcome::needsPerson};
    const auto worst = std::find_if(std::begin(order), std::end(order),
                                    [&run](Outcome outcome) { return hasItem(run, outcome); });
    run.outcome = !run.reasons.empty()       ? Outcome::incomplete
                  : worst == std::end(order) ? Outcome::passed
                                             : *worst;
}

// A tool that says why it ends so has failed its board; any other way to end badly proves nothing.
void settleSingleTest(TestRun& run, Item& item, const ToolEnd& end) {
    ToolEnd explained = end;
    if (!item.contradiction.empty()) {
        explained.exitStatus = 0;
    }
    run.reasons = toolEndReasons(explained);
    if (!end.exitStatus && run.reasons.empty()) {
        run.reasons.push_back("it is not known how the tool ended");
    }
    addUnknownTexts(run, run.reasons);
    item.announced = true;
    item.verdict = true;  // no summary comes: the lines alone decide
    item.leftToPerson = item.row->singleNeedsPerson;
    if (run.reasons.empty() && item.row->endSilently != nullptr) {
        item.row->endSilently(run);
    }
    auto [outcome, reason] = judgeSingle(run, item);
    if (!run.reasons.empty() && item.contradiction.empty()) {
        outcome = Outcome::incomplete;
        reason = run.reasons.front();
    }
    settle(item, outcome, std::move(reason));
}

bool answerItem(Item& item, bool passed, const std::string& reasonWhenFailed) {
    if (item.outcome != Outcome::needsPerson) {
        return false;
    }
    settle(item, passed ? Outcome::passed : Outcome::failed, passed ? "" : reasonWhenFailed);
    return true;
}

void settleRun(TestRun& run, const ToolEnd& end, bool torn) {
    findUnknownSteps(run);
    for (std::string& reason : endReasons(run, end, torn)) {
        run.reasons.push_back(std::move(reason));
    }
    for (Item& item : run.items) {
        auto [outcome, reason] = judge(run, *item.row, item);
        settle(item, outcome, std::move(reason));
    }
    settleOutcome(run);
}

void judgeClock(TestRun& run, ClockJudge judgement, const std::function<std::optional<bool>()>& ask) {
    Item& item = run.item<ClockTimes>();
    if (item.outcome != Outcome::needsPerson || judgement == ClockJudge::leave) {
        return;
    }
    const std::optional<bool> agrees = judgement == ClockJudge::ask ? ask() : clockAgrees(run);
    if (agrees) {
        settle(item, *agrees ? Outcome::passed : Outcome::failed,
               *agrees ? "" : "clock and system time differ");
    } else if (judgement == ClockJudge::automatic) {
        settle(item, Outcome::incomplete, "other times than the three pairs that the test prints");
    }
    settleOutcome(run);
}

}  // namespace station
