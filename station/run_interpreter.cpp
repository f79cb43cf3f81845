#include "run_interpreter.h"

#include <utility>

#include "line_readers.h"
#include "text.h"
#include "verdict.h"

namespace station {

namespace {

// A run has some hundred lines of some bytes; a tool gone wild has no end of them.
constexpr size_t lineLimit = 20000;
constexpr size_t textLimit = 4 * 1024 * 1024;
constexpr size_t partialLimit = 64 * 1024;
constexpr std::string_view endMarker = "R8TESTEND";
constexpr std::string_view buzzerTitle = "蜂鸣器测试";

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

void RunInterpreter::beginStep(double at, int number) {
    current().end = at;
    run.steps.push_back({number, "other", "", at, at, {}});
}

void RunInterpreter::nameStep(std::string_view name, std::string_view title) {
    current().name = name;
    current().title = title;
    titlePending = false;
    if (const auto index = itemNamed(name)) {
        run.items[*index].announced = true;
    }
    onStep(current());
}

// True when the line announces a step. The title may stand in the same line, or follow as a line of its own.
bool RunInterpreter::announceStep(double at, std::string_view line) {
    std::string_view title;
    const int number = stepNumber(line, &title);
    if (number == 0) {
        return false;
    }
    if (!std::exchange(announcedEarly, false) || current().number != number) {
        beginStep(at, number);
        titlePending = title.empty();
        if (!titlePending) {
            nameStep(stepName(title), title);
        }
    }
    return true;
}

// What comes beyond the limits is in the raw stream only, and the run is incomplete.
bool RunInterpreter::full() const {
    return lineCount >= lineLimit || textBytes >= textLimit;
}

void RunInterpreter::keep(double at, Source source, std::string_view text) {
    ++lineCount;
    textBytes += text.size();
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
    if (full()) {
        return;
    }
    if (announceStep(at, line)) {
        keep(at, Source::pipe, line);  // of the step it says nothing more: "第7步:CPLD信息" is no label
        return;
    }
    const std::string_view name = current().name;
    const bool mayBeAlarm = name == "preparation" || name == "buzzer" || name == "network";
    if (titlePending && !line.empty()) {
        nameStep(stepName(line), line);
    } else if (isRule(line) && name != "summary") {
        beginStep(at, 0);
        nameStep("summary", "R8测试结果");
    } else if (mayBeAlarm && isAlarmLine(line)) {
        beginStep(at, 0);
        nameStep("alarm", itemInfos[alarmItem].title);  // the one test that has no line of its own
    }
    keep(at, Source::pipe, line);
    look(line);
}

void RunInterpreter::record(double at, std::string_view text) {
    run.heard = true;
    wentOn = wentOn || run.ended;
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
               number != 0 && !title.empty() && !announcedEarly && !full()) {
        beginStep(at, number);  // the buzzer's line break comes behind its sound
        nameStep(stepName(title), title);
        announcedEarly = true;
    }
}

void RunInterpreter::console(double at, std::string_view line) {
    if (!full()) {
        keep(at, Source::console, line);
        readConsoleLine(run, line);
    }
}

void RunInterpreter::finish(double at, const ToolEnd& end, bool torn) {
    if (!partial.empty()) {
        pipeLine(at, std::exchange(partial, {}));
    }
    current().end = at;
    run.seconds = at;
    if (wentOn) {
        run.reasons.push_back("records came behind the end marker");
    }
    if (full()) {
        run.reasons.push_back("more lines than any run has; the raw stream holds them all");
    }
    settleRun(run, end, torn);
}

}  // namespace station
