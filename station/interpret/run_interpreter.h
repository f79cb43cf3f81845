#pragma once

// Makes a TestRun of what the tool says. Pure: no clock, no files; any text in any order is fine, and a tool
// that never ends its lines or its talk takes a limited amount of memory. Times are seconds since the start
// of the run.

#include <functional>
#include <string>
#include <string_view>

#include "station/interpret/run.h"

namespace station {

class RunInterpreter {
  public:
    TestRun run;
    // As soon as a step has its title, and for each line that is kept.
    std::function<void(const Step&)> onStep = [](const Step&) {};
    std::function<void(const Line&)> onLine = [](const Line&) {};

    RunInterpreter();

    // The UTF-8 text of one record. Screen lines may be spread over records, and records hold several.
    void record(double at, std::string_view text);

    // One line that the tool printed, UTF-8, without its line break.
    void console(double at, std::string_view line);

    // No more text comes: settles the outcome of every item. The clock stays with a person.
    void finish(double at, const ToolEnd& end, bool torn);

  private:
    Step& current() { return run.steps.back(); }
    void beginStep(double at, int number);
    void nameStep(std::string_view name, std::string_view title);
    bool announceStep(double at, std::string_view line);
    void pipeLine(double at, std::string_view line);
    bool full() const;
    void keep(double at, Source source, std::string_view text);
    void look(std::string_view line);

    std::string partial_;        // the screen line under way on the pipe
    bool titlePending_ = false;  // "第4步:" came alone, the next line is its title
    bool announcedEarly_ = false;
    bool recordAfterEnd_ = false;
    std::size_t lineCount_ = 0;
    std::size_t textBytes_ = 0;
};

}  // namespace station
