#pragma once

// One run from the first byte to the record: what comes in goes to the attempt's folder, to the interpreter
// and to the operator's view.

#include <chrono>
#include <filesystem>

#include "station/exit_status.h"
#include "station/interpret/run_interpreter.h"
#include "station/interpret/text.h"
#include "station/interpret/verdict.h"
#include "station/keep/attempt.h"
#include "station/link/record_framer.h"
#include "station/link/tool_process.h"
#include "station/show/live_view.h"

namespace station {

class Session {
  public:
    // Takes the unit's next attempt below the folder. Throws std::system_error when that can't be kept.
    Session(const std::filesystem::path& results, AttemptInfo info, Language language);

    // For superviseTool or readStream; they point into the session.
    StreamHandlers handlers();

    // Settles the outcome, writes the record and shows the verdict. Returns the station's exit status.
    ExitStatus finish(const ToolEnd& end, ClockJudge judge);

    // Instead of that, when the tool has tested nothing: nothing is kept. Throws std::system_error.
    void withdraw();

  private:
    // One of the tool's outputs, cut into lines; a line without end is let go at a limit.
    struct LineBuffer {
        std::string (*decode)(std::string_view);
        std::string pending = {};
    };

    double now() const;
    void console(LineBuffer& buffer, std::string_view bytes);
    std::optional<bool> askAboutClock() const;

    std::filesystem::path results_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    Attempt attempt_;
    RunInterpreter interpreter_;
    RecordFramer framer_;
    std::size_t streamBytes_ = 0;  // that came, kept or not
    LineBuffer output_{utf8FromGbk};
    LineBuffer errors_{utf8FromEither};
    LiveView view_;
    Language language_;
};

}  // namespace station
