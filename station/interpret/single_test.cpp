#include "station/interpret/single_test.h"

#include "station/interpret/items.h"
#include "station/interpret/summary_lines.h"
#include "station/interpret/verdict.h"

namespace station {

SingleTest::SingleTest(int number, int repetitions, double at) : row_(*itemOfSingleTest(number)) {
    run.isSingle = true;
    run.repetitions = repetitions;
    for (Item& item : run.items) {
        item.isPart = item.row == &row_;
    }
    run.steps.push_back({0, std::string(row_.name), std::string(row_.title), at, at, {}});
}

Item& SingleTest::item() {
    return itemOf(run, row_);
}

void SingleTest::console(double at, std::string_view line) {
    if (lineCount_ >= mostLines || textBytes_ >= mostTextBytes) {
        return run.addUnknown("more lines than any test has");
    }
    ++lineCount_;
    textBytes_ += line.size();
    Step& step = run.steps.back();
    step.lines.push_back({at, Source::console, std::string(line)});
    step.end = at;
    onLine(step.lines.back());
    const auto read = row_.readSingle != nullptr ? row_.readSingle : row_.readLine;
    read(run, line);
    readConsoleLine(run, line);
}

void SingleTest::finish(double at, const ToolEnd& end) {
    run.steps.back().end = at;
    run.seconds = at - run.steps.back().start;
    settleSingleTest(run, item(), end);
}

}  // namespace station
