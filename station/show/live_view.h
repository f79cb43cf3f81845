#pragma once

// What the operator sees while the tool runs, and the verdict that stays. All texts are UTF-8 without control
// characters; a stream that can't be written is left alone, for the record does not depend on it.

#include <cstdio>
#include <string>

#include "station/interpret/run.h"
#include "station/keep/attempt_info.h"
#include "station/keep/run_history.h"

namespace station {

enum class Language { chinese, english };

class LiveView {
  public:
    // terminal: a status line stays below the operator lines, in colours; else there are plain lines only.
    LiveView(FILE* output, bool terminal, Language language, RunHistory history);

    // What is going to be run, and which of it begins.
    void showPlan(const std::vector<std::string>& titles);
    void showPart(std::size_t index, double now, bool isFullRun);

    // A line of the station's own.
    void showNotice(const Words& notice);

    void showStep(const Step& step);  // has begun
    void showLine(const Line& line);

    // Elapsed and remaining time; now in seconds since the start of the run. Cheap when nothing has changed.
    void showStatus(double now);

    // A row for each item and each reason, then the unit's. Nothing is drawn over it later.
    void showVerdict(const AttemptInfo& info, const TestRun& run, const std::string& recordPath);

    // Before anybody else writes to the terminal.
    void eraseStatus();

  private:
    std::string statusText(double now) const;
    void showItems(const TestRun& run);
    void row(Outcome outcome, const std::string& text);
    std::string titleOf(std::string_view name, std::string_view title) const;

    FILE* output_;
    bool terminal_;
    Language language_;
    RunHistory history_;
    std::vector<std::string> plan_;
    std::string part_;  // "2/5 " while a plan of more than one part runs
    double partStart_ = 0;
    bool isFullRun_ = true;
    int stepNumber_ = 0;
    std::string stepTitle_;
    std::string shownStatus_;
};

// The outcome as a sign, a word and a colour: told apart without colours as well.
struct OutcomeLook {
    const char* sign;
    const char* chinese;
    const char* english;
    const char* colour;  // a terminal's escape sequence
};
const OutcomeLook& lookOf(Outcome outcome);

}  // namespace station
