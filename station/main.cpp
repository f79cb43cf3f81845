// r8-station: runs the board-test tool for one unit, keeps the record and gives the verdict.

#include <fcntl.h>
#include <unistd.h>

#include <iostream>

#include "station/command_line.h"
#include "station/keep/record_lines.h"
#include "station/link/tool_process.h"
#include "station/product/first_product.h"
#include "station/results_tasks.h"
#include "station/station_identity.h"
#include "station/sync/sync_task.h"
#include "station/tool_runs.h"
#include "station/wrong_use.h"

namespace station {
namespace {

ExitStatus settleNow(const Options& options) {
    SettleRequest request = options.settle;
    request.results = options.results;
    request.passed = options.settleVerdict == "pass";
    return settleItem(request);
}

// Whatever came out, the folder has more than before.
ExitStatus withDatabase(Options options, ExitStatus (*task)(const Options&)) {
    options.database = stationDatabase(options);
    const ExitStatus status = task(options);
    if (!options.database.empty()) {
        startSync(options.results, options.database);
    }
    return status;
}

ExitStatus printProduct(const Options& options) {
    const RecordedRun good = readPassedRun(options.goodUnit);
    std::cout << firstProduct(good.unit, good.run, good.singleItems) << std::flush;
    if (!std::cout) {
        throw WrongUse("the product file could not be written");
    }
    return exitPassed;
}

ExitStatus syncNow(const Options& options) {
    SyncOptions sync = options.ofResults.sync;
    sync.address = sync.address.empty() ? stationDatabase(options) : sync.address;
    return syncResults(sync);
}

int dispatch(int argc, char** argv) {
    const CommandLine line = parseCommandLine(argc, argv);
    if (line.status) {
        return *line.status;
    }
    switch (line.options.task) {
        case Task::run:
            return withDatabase(line.options, runTool);
        case Task::read:
            return withDatabase(line.options, readRecords);
        case Task::settle:
            return withDatabase(line.options, settleNow);
        case Task::product:
            return printProduct(line.options);
        case Task::index:
            return indexResults(line.options.ofResults);
        case Task::exportResults:
            return exportResults(line.options.ofResults);
        case Task::sync:
            return syncNow(line.options);
        default:
            return reportResults(line.options.ofResults);
    }
}

// Started without standard descriptors, our own files would get their numbers, and what we print.
void fillStandardDescriptors() {
    int fd;
    while ((fd = open("/dev/null", O_RDWR)) >= 0 && fd <= STDERR_FILENO) {
    }
    (void)close(fd);  // no harm when it did not open
}

}  // namespace
}  // namespace station

int main(int argc, char** argv) {
    station::fillStandardDescriptors();
    station::takeOverSignals();
    try {
        return station::dispatch(argc, argv);
    } catch (const station::WrongUse& error) {
        std::cerr << "r8-station: " << error.what() << '\n';
        return station::exitWrongUse;
    } catch (const std::exception& error) {
        std::cerr << "r8-station: " << error.what() << '\n';
        return station::exitIncomplete;
    }
}
