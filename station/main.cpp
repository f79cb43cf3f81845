// r8-station: runs the board-test tool for one unit, keeps the record and gives the verdict.

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>

#include "station/command_line.h"
#include "station/link/tool_process.h"
#include "station/show/report.h"
#include "station/tool_runs.h"
#include "station/wrong_use.h"

namespace station {
namespace {

ExitStatus reportResults(const Options& options) {
    if (!std::filesystem::is_directory(options.results)) {
        throw WrongUse(options.results + ": there is no such folder");
    }
    const std::filesystem::path page = options.page.empty() ? options.results + "/report.html" : options.page;
    writeReport(options.results, page, std::cout);
    std::cout << page.string() << '\n' << std::flush;
    if (!std::cout) {
        throw WrongUse("the table could not be written");
    }
    return exitPassed;
}

ExitStatus settleNow(const Options& options) {
    SettleRequest request = options.settle;
    request.results = options.results;
    return settleItem(request);
}

int dispatch(int argc, char** argv) {
    const CommandLine line = parseCommandLine(argc, argv);
    if (line.status) {
        return *line.status;
    }
    switch (line.options.task) {
        case Task::run:
            return runTool(line.options);
        case Task::read:
            return readRecords(line.options);
        case Task::settle:
            return settleNow(line.options);
        default:
            return reportResults(line.options);
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
