#include "run_interpreter.h"

#include <cstdlib>

#include "line_readers.h"
#include "text.h"

namespace station {

namespace {

constexpr size_t lineLimit = 20000;  // a run has some hundred lines; a tool gone wild has no end of them
constexpr size_t partialLimit = 64 * 1024;
constexpr std::string_view endMarker = "R8TESTEND";
constexpr std::string_view buzzerTitle = "蜂鸣器测试";
constexpr int64_t clockToleranceSeconds = 2;
constexpr size_t clockPairs = 3;

// "第3步:开始测试RTC" gives 3 and leaves the title in *title; 0 for any other line.
int stepNumber(std::string_view line, std::string_view* title) {
    int64_t number = 0;
    LineScanner scan{line};
    if (!scan.text("第").number(number).text("步:") || number < 1 || number > 99) {
        return 0;
    }
    *title = scan.rest;
    return static_cast<int>(number);
}

std::string_view stepName(std::string_view title) {
    for (const ItemInfo& info : itemInfos) {
        if (!info.stepTitle.empty() && title == info.stepTitle) {
            return info.name;
        }
    }
    return title == buzzerTitle ? "buzzer" : "other";
}

// The line around the summary; the CPLD's own frame is made of other signs.
bool isRule(std::string_view line) {
    return line.size() >= 64 && line.find_first_not_of('-') == std::string_view::npos;
}

std::optional<ItemIndex> itemNamed(std::string_view name) {
    for (size_t i = 0; i < itemCount; ++i) {
        if (itemInfos[i].name == name) {
            return static_cast<ItemIndex>(i);
        }
    }
    return std::nullopt;
}

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
    const bool asksPerson = item.outcome == Outcome::needsPerson;
    if (!item.verdict && !asksPerson) {
        settle(item, Outcome::incomplete, "no verdict came");
    } else if (item.verdict == false) {
        settle(item, Outcome::failed, item.reason);
    } else if (!item.contradiction.empty()) {
        settle(item, Outcome::failed, item.contradiction);
    } else if (nothingFitted(run, index)) {
        settle(item, Outcome::skipped, "the board has none");
    } else if (!item.checked && run.lostLines != 0 && index != usbItem) {
        settle(item, Outcome::incomplete, "lines were lost, it is not known whether the step ran");
    } else if (!item.announced) {
        settle(item, Outcome::skipped, "the step did not run");
    } else if (!item.checked && index == alarmItem) {
        settle(item, Outcome::skipped, "nothing was checked");
    } else if (!item.checked && index != usbItem) {
        settle(item, Outcome::failed, "the step was announced, but nothing was checked");
    } else if (!asksPerson) {
        item.outcome = Outcome::passed;
    }
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
    if (!run.heard) {
        reasons.push_back("no record came; was the tool started with netR8test?");
    } else if (!run.ended) {
        reasons.push_back("no end marker came");
    }
    return reasons;
}

// None when it can't be told: the test prints three pairs, and one that is missing might be the bad one.
std::optional<bool> clockAgrees(const Item& item) {
    const Json pairs = item.measured.value("pairs", Json::array());
    size_t compared = 0;
    for (const Json& pair : pairs) {
        if (!pair.contains("differenceSeconds")) {
            continue;
        }
        ++compared;
        if (std::abs(pair["differenceSeconds"].get<int64_t>()) > clockToleranceSeconds) {
            return false;
        }
    }
    return compared == clockPairs ? std::optional(true) : std::nullopt;
}

}  // namespace

std::string_view englishName(std::string_view name) {
    constexpr std::pair<std::string_view, std::string_view> others[] = {
        {"preparation", "Preparation"},
        {"buzzer", "Buzzer"},
        {"summary", "Summary"},
    };
    if (const auto index = itemNamed(name)) {
        return itemInfos[*index].english;
    }
    for (const auto& [known, english] : others) {
        if (known == name) {
            return english;
        }
    }
    return "";
}

RunInterpreter::RunInterpreter() {
    run.steps.push_back({0, "preparation", "", 0, 0, {}});
}

void RunInterpreter::beginStep(double at, int number, std::string_view name, std::string_view title) {
    current().end = at;
    run.steps.push_back({number, std::string(name), std::string(title), at, at, {}});
    titlePending = title.empty();
    if (const auto index = itemNamed(name)) {
        run.items[*index].announced = true;
    }
    if (!titlePending) {
        onStep(current());
    }
}

// True when the line announces a step. The title may stand in the same line, or follow as a line of its own.
bool RunInterpreter::announceStep(double at, std::string_view line) {
    std::string_view title;
    const int number = stepNumber(line, &title);
    if (number == 0) {
        return false;
    }
    if (announcedEarly && current().number == number) {
        current().title = title;
        current().name = stepName(title);
    } else {
        beginStep(at, number, stepName(title), title);
    }
    announcedEarly = false;
    return true;
}

// Beyond the limit lines are no longer kept, but still looked at: the raw stream has them.
void RunInterpreter::keep(double at, Source source, std::string_view text) {
    if (++lineCount > lineLimit) {
        return;
    }
    current().lines.push_back({at, source, std::string(text)});
    current().end = at;
    onLine(current().lines.back());
}

// What a line tells depends on the step that it stands in. Test lines may be read more than once only where
// they stand for more than one thing.
void RunInterpreter::look(std::string_view line) {
    const std::string_view name = current().name;
    if (name == "summary") {
        readSummaryLine(run, line);
    } else if (name == "cpld") {
        readBoardLine(run, line);
    } else if (const auto index = itemNamed(name)) {
        using Reader = void (*)(Item&, std::string_view);
        constexpr std::array<Reader, itemCount> readers = {readNetworkLine, readRs485Line, readAlarmLine,
                                                           readUsbLine,     nullptr,       readSataLine,
                                                           readClockLine,   nullptr};
        readers[*index](run.items[*index], line);
    }
}

void RunInterpreter::pipeLine(double at, std::string_view line) {
    const std::string_view name = current().name;
    const bool mayBeAlarm = name == "preparation" || name == "buzzer" || name == "network";
    if (announceStep(at, line)) {
        keep(at, Source::pipe,
             line);  // in its own step, of which it says nothing: "第7步:CPLD信息" is no label
        return;
    }
    if (titlePending && !line.empty()) {
        current().title = line;
        current().name = stepName(line);
        if (const auto index = itemNamed(current().name)) {
            run.items[*index].announced = true;
        }
        titlePending = false;
        onStep(current());
    } else if (isRule(line) && name != "summary") {
        beginStep(at, 0, "summary", "R8测试结果");
    } else if (mayBeAlarm && isAlarmLine(line)) {
        beginStep(at, 0, "alarm", itemInfos[alarmItem].title);  // the one test that has no line of its own
    }
    keep(at, Source::pipe, line);
    look(line);
}

void RunInterpreter::record(double at, std::string_view text) {
    run.heard = true;
    if (run.ended) {
        run.reasons.assign(1, "records came behind the end marker");
    }
    partial += text;
    size_t lineEnd;
    while ((lineEnd = partial.find('\n')) != std::string::npos) {
        const std::string line = partial.substr(0, lineEnd);
        partial.erase(0, lineEnd + 1);
        pipeLine(at, line);
    }
    std::string_view title;
    if (text == endMarker || partial.size() > partialLimit) {
        run.ended = run.ended || text == endMarker;
        const std::string line = std::exchange(partial, {});
        pipeLine(at, line);
    } else if (const int number = stepNumber(partial, &title);
               number != 0 && !title.empty() && !announcedEarly) {
        beginStep(at, number, stepName(title), title);  // the buzzer's line break comes behind its sound
        announcedEarly = true;
    }
}

void RunInterpreter::console(double at, std::string_view line) {
    keep(at, Source::console, line);
    readConsoleLine(run, line);
}

void RunInterpreter::finish(double at, const ToolEnd& end, bool torn) {
    if (!partial.empty()) {
        pipeLine(at, std::exchange(partial, {}));
    }
    current().end = at;
    run.seconds = at;
    for (std::string& reason : endReasons(run, end, torn)) {
        run.reasons.push_back(std::move(reason));
    }
    if (lineCount > lineLimit) {
        run.reasons.push_back("more lines than any run has; the raw stream holds them all");
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
        settle(item, Outcome::incomplete, "fewer pairs of times than the test prints");
    }
    settleOutcome(run);
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

}  // namespace station
