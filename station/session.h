#pragma once

// One attempt from the first byte to the record: what comes in goes to the attempt's folder, to the
// interpreter of the part that runs, and to the operator's view.

#include <chrono>
#include <filesystem>
#include <memory>
#include <vector>

#include "station/exit_status.h"
#include "station/interpret/console_lines.h"
#include "station/interpret/run_interpreter.h"
#include "station/interpret/single_test.h"
#include "station/interpret/text.h"
#include "station/interpret/verdict.h"
#include "station/keep/attempt.h"
#include "station/link/record_framer.h"
#include "station/link/tool_process.h"
#include "station/plan/plan.h"
#include "station/plan/whole_run.h"
#include "station/product/product.h"
#include "station/show/live_view.h"

namespace station {

// What was seen of a board behind the watchdog's test.
struct Restart {
    Count seconds;  // until the board answered again, newly started; none: it did not in time
};

class Session {
  public:
    OwnerOfMac ownerOfMac;                   // asked at the end; goes away when the addresses are kept
    std::shared_ptr<const Product> product;  // null: nothing says what to expect

    // Takes the unit's next attempt below the folder. Throws std::system_error when that can't be kept.
    Session(const std::filesystem::path& results, AttemptInfo info, Language language,
            std::vector<Part> parts);

    // Each part in its order: first begin, whose handlers are for superviseTool or readStream and point into
    // the session; then end with how the tool ended, which asks the operator where the part does so. False:
    // the station was told to stop, and runs no more parts.
    StreamHandlers begin();
    bool end(const ToolEnd& end, const std::optional<Restart>& restart = {});

    // Of the part that has begun.
    const Part& part() const { return parts_[current_]; }
    bool hasMore() const { return current_ + 1 < parts_.size() || !begun_; }

    // Settles the outcome, writes the record and shows the verdict. Returns the station's exit status.
    ExitStatus finish(ClockJudge judge);

    // Where the attempt is kept.
    const std::filesystem::path& folder() const { return attempt_.folder(); }

    // Instead of that, when the tool has tested nothing: nothing is kept. Throws std::system_error.
    void withdraw();

  private:
    double now() const;
    bool isFullRun() const { return parts_[current_].test == 0; }
    SingleTest& single() { return *singles_.back(); }
    void consoleLine(std::string_view line, bool isCut);
    void addUnknown(std::string_view text);
    void records(std::string_view bytes);
    bool hasFullRun() const;
    void judgeRestart(const Restart& restart);
    bool askAbout(SingleTest& test);
    std::optional<bool> askAboutClock();
    void remember(const Item& item);
    void collect();
    void judgeClocks(ClockJudge judge);
    void keep() { attempt_.finish(interpreter_.run, end_, framer_.records, framer_.torn()); }

    std::filesystem::path results_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::vector<Part> parts_;
    std::size_t current_ = 0;
    bool begun_ = false;
    std::size_t ended_ = 0;  // parts
    Attempt attempt_;
    RunInterpreter interpreter_;  // of the full run; its run becomes the attempt's
    std::vector<std::unique_ptr<SingleTest>> singles_;
    ToolEnd end_;  // of the full run, or of the last single test without one
    double fullRunSeconds_ = 0;
    RecordFramer framer_;
    std::size_t streamBytes_ = 0;  // that came, kept or not
    ConsoleLines output_{utf8FromGbk};
    ConsoleLines errors_{utf8FromEither};
    LiveView view_;
};

}  // namespace station
