#include "station/show/live_view.h"

#include <sys/ioctl.h>

#include "station/interpret/items.h"
#include "station/interpret/text.h"

namespace station {

namespace {

constexpr int stepsOfFullRun = 7;  // with every step present
constexpr const char* usualColour = "\033[0m";
constexpr const char* runningColour = "\033[1;36m";  // cyan: red and green are verdicts
constexpr const char* eraseLine = "\r\033[K";

std::string minutes(double seconds) {
    const auto whole = static_cast<long>(seconds);
    char text[32];
    (void)snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
    return text;
}

std::size_t terminalColumns(FILE* terminal) {
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
    return looks[static_cast<std::size_t>(outcome)];
}

LiveView::LiveView(FILE* output, bool terminal, Language language, RunHistory history)
    : output_(output), terminal_(terminal), language_(language), history_(history) {}

std::string LiveView::titleOf(std::string_view name, std::string_view title) const {
    const std::string_view english = englishName(name);
    return language_ == Language::english && !english.empty()
               ? std::string(title) + " (" + std::string(english) + ")"
               : std::string(title);
}

void LiveView::eraseStatus() {
    if (!shownStatus_.empty()) {
        (void)fputs(eraseLine, output_);
        shownStatus_.clear();
    }
}

void LiveView::showPlan(const std::vector<std::string>& titles) {
    plan_ = titles;
    for (std::size_t i = 0; i < plan_.size() && plan_.size() > 1; ++i) {
        (void)fprintf(output_, "%s%zu. %s", i != 0 ? "  " : "", i + 1, plan_[i].c_str());
    }
    (void)fputs(plan_.size() > 1 ? "\n" : "", output_);
    (void)fflush(output_);
}

void LiveView::showPart(std::size_t index, double now, bool isFullRun) {
    partStart_ = now;
    isFullRun_ = isFullRun;
    if (plan_.size() <= 1) {
        return;
    }
    part_ = std::to_string(index + 1) + "/" + std::to_string(plan_.size()) + " ";
    stepTitle_ = plan_[index];
    eraseStatus();
    (void)fprintf(output_, "\n[%s%s]\n", part_.c_str(), stepTitle_.c_str());
    (void)fflush(output_);
}

void LiveView::showNotice(const Words& notice) {
    eraseStatus();
    (void)fprintf(output_, "! %s\n", (language_ == Language::english ? notice.en : notice.zh).c_str());
    (void)fflush(output_);
}

void LiveView::showStep(const Step& step) {
    stepNumber_ = std::max(stepNumber_, step.number);
    stepTitle_ = titleOf(step.name, step.title);
    if (language_ == Language::english && !englishName(step.name).empty()) {
        eraseStatus();
        (void)fprintf(output_, "[%s]\n", std::string(englishName(step.name)).c_str());
        (void)fflush(output_);
    }
}

void LiveView::showLine(const Line& line) {
    eraseStatus();
    (void)fprintf(output_, "%s\n", line.text.c_str());
    (void)fflush(output_);  // a station's log is followed as it grows
}

// The number of steps depends on the board; before this station's first run the largest is the best guess.
std::string LiveView::statusText(double now) const {
    const int steps = std::max(stepNumber_, history_.steps != 0 ? history_.steps : stepsOfFullRun);
    const bool english = language_ == Language::english;
    std::string text = (english ? "▶ running  " : "▶ 测试中  ") + part_;
    if (!isFullRun_) {
        return text + stepTitle_ + "  " + minutes(now - partStart_);
    }
    text += english ? "step " : "第";
    text += std::to_string(stepNumber_) + (english ? " of " : "步/共") + std::to_string(steps);
    text += (english ? "  " : "步  ") + stepTitle_ + "  " + minutes(now - partStart_);
    if (history_.steps != 0) {
        const double left = std::max(0.0, history_.seconds - (now - partStart_));
        text += (english ? ", about " : "，约剩 ") + minutes(left) + (english ? " left" : "");
    }
    return text;
}

void LiveView::showStatus(double now) {
    if (!terminal_) {
        return;
    }
    const std::string text = clipToWidth(statusText(now), terminalColumns(output_) - 1);
    if (text != shownStatus_) {
        (void)fprintf(output_, "%s%s%s%s", eraseLine, runningColour, text.c_str(), usualColour);
        (void)fflush(output_);
        shownStatus_ = text;
    }
}

void LiveView::row(Outcome outcome, const std::string& text) {
    const OutcomeLook& look = lookOf(outcome);
    const char* const word = language_ == Language::english ? look.english : look.chinese;
    (void)fprintf(output_, "%s%s %s%s  %s\n", terminal_ ? look.colour : "", look.sign,
                  padToWidth(word, 14).c_str(), terminal_ ? usualColour : "", text.c_str());
}

void LiveView::showItems(const TestRun& run) {
    for (const Item& item : run.items) {
        if (item.isOfThisBoard()) {
            const std::string title = titleOf(item.row->name, item.row->title);
            row(item.outcome,
                title + (item.reason.empty() || !item.reasons.empty() ? "" : ": " + item.reason));
            for (const Words& words : item.reasons) {
                (void)fprintf(output_, "    %s\n",
                              (language_ == Language::english ? words.en : words.zh).c_str());
            }
        }
    }
    for (const TestRun& single : run.singles) {
        showItems(single);
    }
}

void LiveView::showVerdict(const AttemptInfo& info, const TestRun& run, const std::string& recordPath) {
    eraseStatus();
    (void)fputc('\n', output_);
    showItems(run);
    for (const std::string& reason : run.reasons) {
        row(Outcome::incomplete, reason);
    }
    (void)fputs("----------------------------------------------------------------\n", output_);
    row(run.outcome, info.unit.value_or("(no unit)") + " #" + std::to_string(info.number) + "  " +
                         minutes(run.seconds) + "  " + recordPath);
    (void)fflush(output_);
}

}  // namespace station
