#include "station/interpret/run_interpreter.h"

#include <utility>

#include "station/interpret/items.h"
#include "station/interpret/summary_lines.h"
#include "station/interpret/text.h"
#include "station/interpret/verdict.h"

namespace station {

namespace {

constexpr std::size_t partialLimit = 64 * 1024;
constexpr std::string_view buzzerTitle = "蜂鸣器测试";

// "第3步:开始测试RTC" gives 3 and leaves the title in *title; 0 for any other line.
int stepNumber(std::string_view line, std::string_view* title) {
    std::int64_t number = 0;
    LineScanner scan{line};
    if (!scan.text("第").number(number).text("步:") || number < 1 || number > 99) {
        return 0;
    }
    *title = scan.rest;
    return static_cast<int>(number);
}

std::string_view stepName(std::string_view title) {
    if (const ItemRow* const row = itemWith(&ItemRow::stepTitle, title)) {
        return row->name;
    }
    return title == buzzerTitle ? "buzzer" : otherStep;
}

}  // namespace

RunInterpreter::RunInterpreter() {
    run.steps.push_back({0, "preparation", "", 0, 0, {}});
}

void RunInterpreter::beginStep(double at, int number) {
    current().end = at;
    run.steps.push_back({number, std::string(otherStep), "", at, at, {}});
}

void RunInterpreter::nameStep(std::string_view name, std::string_view title) {
    current().name = name;
    current().title = title;
    titlePending_ = false;
    if (const ItemRow* const row = itemWith(&ItemRow::name, name)) {
        itemOf(run, *row).announced = true;
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
    if (!std::exchange(announcedEarly_, false) || current().number != number) {
        beginStep(at, number);
        titlePending_ = title.empty();
        if (!titlePending_) {
            nameStep(stepName(title), title);
        }
    }
    return true;
}

// Of what comes beyond the limits the records are in the raw stream, console lines are nowhere; the run is
// incomplete.
bool RunInterpreter::full() const {
    return lineCount_ >= mostLines || textBytes_ >= mostTextBytes;
}

void RunInterpreter::keep(double at, Source source, std::string_view text) {
    ++lineCount_;
    textBytes_ += text.size();
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
    } else if (const ItemRow* const row = itemWith(&ItemRow::name, name);
               row != nullptr && row->readLine != nullptr) {
        row->readLine(run, line);
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
    if (titlePending_ && !line.empty()) {
        nameStep(stepName(line), line);
    } else if (isRule(line) && name != "summary") {
        beginStep(at, 0);
        nameStep("summary", "R8测试结果");
    } else if (mayBeAlarm && isAlarmLine(line)) {
        beginStep(at, 0);
        nameStep("alarm", Alarm::row.title);  // the one test that has no line of its own
    }
    keep(at, Source::pipe, line);
    look(line);
}

void RunInterpreter::record(double at, std::string_view text) {
    run.arrived = true;
    recordAfterEnd_ = recordAfterEnd_ || run.ended;
    partial_ += text;
    std::size_t lineEnd;
    while ((lineEnd = partial_.find('\n')) != std::string::npos) {
        const std::string line = partial_.substr(0, lineEnd);
        partial_.erase(0, lineEnd + 1);
        pipeLine(at, line);
    }
    std::string_view title;
    if (text == endMarker || partial_.size() > partialLimit) {
        run.ended = run.ended || text == endMarker;
        const std::string line = std::exchange(partial_, {});
        pipeLine(at, line);
    } else if (const int number = stepNumber(partial_, &title);
               number != 0 && !title.empty() && !announcedEarly_ && !full()) {
        beginStep(at, number);  // the buzzer's line break comes behind its sound
        nameStep(stepName(title), title);
        announcedEarly_ = true;
    }
}

void RunInterpreter::console(double at, std::string_view line) {
    if (!full()) {
        keep(at, Source::console, line);
        readConsoleLine(run, line);
    }
}

void RunInterpreter::finish(double at, const ToolEnd& end, bool torn) {
    if (!partial_.empty()) {
        pipeLine(at, std::exchange(partial_, {}));
    }
    current().end = at;
    run.seconds = at;
    if (recordAfterEnd_) {
        run.reasons.push_back("records came behind the end marker");
    }
    if (full()) {
        run.reasons.push_back(
            "more lines than any run has; of those behind, the raw stream holds the records, nothing holds "
            "the console's");
    }
    settleRun(run, end, torn);
}

}  // namespace station
