#include "live_view.h"

#include <sys/ioctl.h>

#include "run_interpreter.h"
#include "text.h"

namespace station {

namespace {

constexpr int stepsOfFullRun = 7;  // with every step present
constexpr const char* plain = "\033[0m";
constexpr const char* runningColour = "\033[1;36m";  // cyan: red and green are verdicts
constexpr const char* eraseLine = "\r\033[K";

std::string minutes(double seconds) {
    const auto whole = static_cast<long>(seconds);
    char text[32];
    (void)snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
    return text;
}

size_t terminalColumns(FILE* terminal) {
    winsize size = {};
    return ioctl(fileno(terminal), TIOCGWINSZ, &size) == 0 && size.ws_col > 20 ? size.ws_col : 80;
}

}  // namespace

const OutcomeLook& lookOf(Outcome outcome) {
    static constexpr OutcomeLook looks[] = {
        {"✔", "通过", "PASSED", "\033[1;32m"},       {"✘", "失败", "FAILED", "\033[1;31m"},
        {"–", "跳过", "skipped", "\033[2m"},         {"?", "需人工判断", "NEEDS A PERSON", "\033[1;33m"},
        {"!", "未完成", "INCOMPLETE", "\033[1;35m"},
    };
    return looks[static_cast<size_t>(outcome)];
}

LiveView::LiveView(FILE* stream, bool isTerminal, Language words, RunHistory before)
    : output(stream), terminal(isTerminal), language(words), history(before) {}

std::string LiveView::titleOf(std::string_view name, std::string_view title) const {
    const std::string_view english = englishName(name);
    return language == Language::english && !english.empty()
               ? std::string(title) + " (" + std::string(english) + ")"
               : std::string(title);
}

void LiveView::eraseStatus() {
    if (!shownStatus.empty()) {
        (void)fputs(eraseLine, output);
        shownStatus.clear();
    }
}

void LiveView::showStep(const Step& step) {
    stepNumber = std::max(stepNumber, step.number);
    stepTitle = titleOf(step.name, step.title);
    if (language == Language::english && !englishName(step.name).empty()) {
        eraseStatus();
        (void)fprintf(output, "[%s]\n", std::string(englishName(step.name)).c_str());
        (void)fflush(output);
    }
}

void LiveView::showLine(const Line& line) {
    eraseStatus();
    (void)fprintf(output, "%s\n", line.text.c_str());
    (void)fflush(output);  // a station's log is followed as it grows
}

// The number of steps depends on the board; before this station's first run the largest is the best guess.
std::string LiveView::statusText(double now) const {
    const int steps = std::max(stepNumber, history.steps != 0 ? history.steps : stepsOfFullRun);
    const bool english = language == Language::english;
    std::string text = english ? "▶ running  step " : "▶ 测试中  第";
    text += std::to_string(stepNumber) + (english ? " of " : "步/共") + std::to_string(steps);
    text += (english ? "  " : "步  ") + stepTitle + "  " + minutes(now);
    if (history.steps != 0) {
        const double left = std::max(0.0, history.seconds - now);
        text += (english ? ", about " : "，约剩 ") + minutes(left) + (english ? " left" : "");
    }
    return text;
}

void LiveView::showStatus(double now) {
    if (!terminal) {
        return;
    }
    const std::string text = clipToWidth(statusText(now), terminalColumns(output) - 1);
    if (text != shownStatus) {
        (void)fprintf(output, "%s%s%s%s", eraseLine, runningColour, text.c_str(), plain);
        (void)fflush(output);
        shownStatus = text;
    }
}

void LiveView::showVerdict(const AttemptInfo& info, const TestRun& run, const std::string& recordPath) {
    eraseStatus();
    const auto row = [this](Outcome outcome, const std::string& text) {
        const OutcomeLook& look = lookOf(outcome);
        const char* const word = language == Language::english ? look.english : look.chinese;
        (void)fprintf(output, "%s%s %s%s  %s\n", terminal ? look.colour : "", look.sign,
                      padToWidth(word, 14).c_str(), terminal ? plain : "", text.c_str());
    };
    (void)fputc('\n', output);
    for (size_t i = 0; i < itemCount; ++i) {
        const Item& item = run.items[i];
        if (run.has(i)) {
            row(item.outcome, titleOf(itemInfos[i].name, itemInfos[i].title) +
                                  (item.reason.empty() ? "" : ": " + item.reason));
        }
    }
    for (const std::string& reason : run.reasons) {
        row(Outcome::incomplete, reason);
    }
    if (run.lostLines != 0) {
        (void)fprintf(output, "  %llu lines lost on the way from the tool\n",
                      static_cast<unsigned long long>(run.lostLines));
    }
    (void)fputs("----------------------------------------------------------------\n", output);
    row(run.outcome, info.unit.value_or("(no unit)") + " #" + std::to_string(info.number) + "  " +
                         minutes(run.seconds) + "  " + recordPath);
    (void)fflush(output);
}

}  // namespace station
