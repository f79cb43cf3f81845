#pragma once

// Makes a TestRun of what a single test of the tool prints. As pure and as patient as RunInterpreter.

#include <functional>
#include <string_view>

#include "station/interpret/run.h"

namespace station {

class SingleTest {
  public:
    TestRun run;  // one step, and the one item that the test is for
    std::function<void(const Line&)> onLine = [](const Line&) {};

    // A number that itemOfSingleTest knows. at: seconds since the start of the attempt, when it begins.
    SingleTest(int number, int repetitions, double at);

    // One line that the tool printed, UTF-8, without its line break.
    void console(double at, std::string_view line);

    // No more text comes: settles the item and run.reasons. What only a person can tell stays open.
    void finish(double at, const ToolEnd& end);

    Item& item();
    const ItemRow& row() const { return row_; }

  private:
    const ItemRow& row_;
    std::size_t lineCount_ = 0;
    std::size_t textBytes_ = 0;
};

}  // namespace station
