#pragma once

// One run from the first byte to the record: what comes in goes to the attempt's folder, to the interpreter
// and to the operator's view.

#include <chrono>
#include <filesystem>

#include "attempt.h"
#include "live_view.h"
#include "record_framer.h"
#include "run_interpreter.h"
#include "tool_process.h"

namespace station {

// Exit statuses of the station.
enum ExitStatus { exitPassed = 0, exitFailed = 1, exitWrongUse = 2, exitIncomplete = 3 };

class Session {
  public:
    Session(const std::filesystem::path& results, AttemptInfo info, Language language);

    StreamHandlers handlers();

    // Settles the outcome, writes the record and shows the verdict. Returns the station's exit status.
    ExitStatus finish(const ToolEnd& end, ClockJudge judge);

  private:
    // Cuts a byte stream into lines; a line without end is let go at a limit.
    struct LineBuffer {
        std::string pending;
        void feed(std::string_view bytes, const std::function<void(std::string_view)>& onLine);
    };

    double now() const;
    void console(LineBuffer& buffer, std::string_view bytes, std::string (*decode)(std::string_view));
    std::optional<bool> askAboutClock() const;

    std::filesystem::path results;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    Attempt attempt;
    RunInterpreter interpreter;
    RecordFramer framer;
    LineBuffer output;
    LineBuffer errors;
    LiveView view;
    Language language;
};

}  // namespace station
