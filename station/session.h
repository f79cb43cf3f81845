#pragma once

// One run from the first byte to the record: what comes in goes to the attempt's folder, to the interpreter
// and to the operator's view.

#include <chrono>
#include <filesystem>

#include "attempt.h"
#include "live_view.h"
#include "record_framer.h"
#include "run_interpreter.h"
#include "text.h"
#include "tool_process.h"
#include "verdict.h"

namespace station {

// Exit statuses of the station, for scripts. Incomplete is also a unit whose clock nobody has judged yet.
enum ExitStatus { exitPassed = 0, exitFailed = 1, exitWrongUse = 2, exitIncomplete = 3 };

class Session {
  public:
    // Takes the unit's next attempt below the folder. Throws std::system_error when that can't be kept.
    Session(const std::filesystem::path& results, AttemptInfo info, Language language);

    // For superviseTool or readStream; they point into the session.
    StreamHandlers handlers();

    // Settles the outcome, writes the record and shows the verdict. Returns the station's exit status.
    ExitStatus finish(const ToolEnd& end, ClockJudge judge);

  private:
    // One of the tool's outputs, cut into lines; a line without end is let go at a limit.
    struct LineBuffer {
        std::string (*decode)(std::string_view);
        std::string pending = {};
    };

    double now() const;
    void console(LineBuffer& buffer, std::string_view bytes);
    std::optional<bool> askAboutClock() const;

    std::filesystem::path results;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    Attempt attempt;
    RunInterpreter interpreter;
    RecordFramer framer;
    LineBuffer output{utf8FromGbk};
    LineBuffer errors{utf8FromEither};
    LiveView view;
    Language language;
};

}  // namespace station
