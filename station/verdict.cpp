#include "verdict.h"

#include <algorithm>
#include <cstdlib>

namespace station {

namespace {

constexpr int64_t clockToleranceSeconds = 2;
constexpr size_t clockPairs = 3;

void settle(Item& item, Outcome outcome, std::string reason) {
    item.outcome = outcome;
    item.reason = std::move(reason);
}

// A drive-less or port-less board: the summary says passed, yet there was nothing to test.
bool nothingFitted(const TestRun& run, size_t index) {
    const Json& measured = run.items[index].measured;
    if (index == usbItem) {
        return measured.value("expected", -1) == 0 && measured.value("found", -1) == 0;
    }
    return index == sataItem && measured.value("expected", -1) == 0 && !run.items[sataItem].checked;
}

// The tool's summary counts what it could not test as passed, so a verdict is worth what the lines show. The
// USB test says nothing when it finds nothing: its verdict stands alone.
void settleItem(const TestRun& run, size_t index, Item& item) {
    if (!item.verdict && !item.leftToPerson) {
        settle(item, Outcome::incomplete, "no verdict came");
    } else if (item.verdict == false) {
        settle(item, Outcome::failed, item.reason);
    } else if (!item.contradiction.empty()) {
        settle(item, Outcome::failed, item.contradiction);
    } else if (!item.announced && itemInfos[index].alwaysRuns) {
        settle(item, Outcome::incomplete, "its step, which every run has, did not come");
    } else if (nothingFitted(run, index)) {
        settle(item, Outcome::skipped, "the board has none");
    } else if (!item.checked && run.lostLines != 0 && index != usbItem) {
        settle(item, Outcome::incomplete, "lines were lost, it is not known whether the step ran");
    } else if (!item.announced) {
        settle(item, Outcome::skipped, "the step did not run");
    } else if (!item.checked && index == alarmItem && !item.measured.contains("inputs")) {
        settle(item, Outcome::skipped, "nothing was checked");
    } else if (!item.checked && index != usbItem) {
        settle(item, Outcome::failed, "the step was announced, but nothing was checked");
    } else {
        item.outcome = item.leftToPerson ? Outcome::needsPerson : Outcome::passed;
    }
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

// Why the run can't be trusted to have ended as it should.
std::vector<std::string> endReasons(const TestRun& run, const ToolEnd& end, bool torn) {
    std::vector<std::string> reasons;
    if (end.timedOut) {
        reasons.push_back("the tool did not end in time");
    }
    if (end.interrupted) {
        reasons.push_back("the station was stopped");
    }
    if (end.signal != 0) {
        reasons.push_back("the tool was killed by signal " + std::to_string(end.signal));
    } else if (end.exitStatus.value_or(0) != 0) {
        reasons.push_back("the tool ended with status " + std::to_string(*end.exitStatus));
    }
    if (torn) {
        reasons.push_back("the record stream is torn");
    }
    if (numbersHaveGap(run)) {
        reasons.push_back("the steps' numbers have a gap, lines are missing");
    }
    if (!run.heard) {
        reasons.push_back("no record came; was the tool started with netR8test?");
    } else if (!run.ended) {
        reasons.push_back("no end marker came");
    }
    return reasons;
}

// None when it can't be told: the test prints three pairs, and where a time was lost the others belong to the
// wrong ones.
std::optional<bool> clockAgrees(const Item& item) {
    const Json pairs = item.measured.value("pairs", Json::array());
    if (pairs.size() != clockPairs || !pairs.back().contains("differenceSeconds")) {
        return std::nullopt;
    }
    return std::all_of(pairs.begin(), pairs.end(), [](const Json& pair) {
        return std::abs(pair["differenceSeconds"].get<int64_t>()) <= clockToleranceSeconds;
    });
}

void settleOutcome(TestRun& run) {
    // The worst first: a run that is not known to be whole proves nothing, whatever its items say.
    constexpr Outcome order[] = {Outcome::incomplete, Outcome::failed, Outcome::needsPerson};
    if (!run.reasons.empty()) {
        run.outcome = Outcome::incomplete;
        return;
    }
    run.outcome = Outcome::passed;
    for (const Outcome outcome : order) {
        for (size_t i = 0; i < itemCount; ++i) {
            if (run.has(i) && run.items[i].outcome == outcome) {
                run.outcome = outcome;
                return;
            }
        }
    }
}

}  // namespace

void settleRun(TestRun& run, const ToolEnd& end, bool torn) {
    for (std::string& reason : endReasons(run, end, torn)) {
        run.reasons.push_back(std::move(reason));
    }
    for (size_t i = 0; i < itemCount; ++i) {
        settleItem(run, i, run.items[i]);
    }
    settleOutcome(run);
}

void judgeClock(TestRun& run, ClockJudge judge, const std::function<std::optional<bool>()>& ask) {
    Item& item = run.items[clockItem];
    if (item.outcome != Outcome::needsPerson || judge == ClockJudge::leave) {
        return;
    }
    const std::optional<bool> agrees = judge == ClockJudge::ask ? ask() : clockAgrees(item);
    if (agrees) {
        settle(item, *agrees ? Outcome::passed : Outcome::failed,
               *agrees ? "" : "clock and system time differ");
    } else if (judge == ClockJudge::automatic) {
        settle(item, Outcome::incomplete, "other times than the three pairs that the test prints");
    }
    settleOutcome(run);
}

}  // namespace station
