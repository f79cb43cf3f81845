#include "station/results_tasks.h"

#include <ctime>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "station/show/export.h"
#include "station/show/report.h"
#include "station/show/times.h"
#include "station/store/results_index.h"
#include "station/sync/open_database.h"
#include "station/sync/sync_task.h"
#include "station/wrong_use.h"

namespace station {

namespace {

void requireFolder(const ResultsOptions& options) {
    if (!std::filesystem::is_directory(options.folder)) {
        throw WrongUse(options.folder + ": there is no such folder");
    }
}

void requireOutput() {
    std::cout << std::flush;
    if (!std::cout) {
        throw WrongUse("the output could not be written");
    }
}

Selection selectionOf(const ResultsOptions& options) {
    Selection selection = options.selection;
    if (!options.since.empty()) {
        selection.since = timeSince(options.since, std::time(nullptr));
        if (!selection.since) {
            throw WrongUse("--since wants 7d, 12h, 90m or a day such as 2026-11-24, not " + options.since);
        }
    }
    return selection;
}

ReportWish wishOf(const ResultsOptions& options) {
    ReportWish wish;
    wish.selection = selectionOf(options);
    wish.form = options.csv ? ReportForm::csv : options.json ? ReportForm::json : ReportForm::table;
    return wish;
}

// As the database was at one moment: others add to it meanwhile.
ExitStatus reportDatabase(const ResultsOptions& options) {
    requireAddress(options.database);
    Postgres database(options.database, patienceOfPeople);
    requireSchema(database);
    const Transaction moment(database, "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
    ReportWish wish = wishOf(options);
    wish.page = options.page;
    if (writeReportOf(database, wish, std::cout)) {
        std::cout << wish.page.string() << '\n';
    }
    requireOutput();
    return exitPassed;
}

}  // namespace

ExitStatus reportResults(const ResultsOptions& options) {
    if (!options.database.empty()) {
        return reportDatabase(options);
    }
    requireFolder(options);
    ReportWish wish = wishOf(options);
    wish.page = options.page.empty() ? options.folder + "/report.html" : options.page;
    if (writeReport(options.folder, wish, std::cout)) {
        std::cout << wish.page.string() << '\n';
    }
    if (const std::string trouble = troubleOfSync(options.folder); !trouble.empty()) {
        std::cerr << trouble << '\n';
    }
    requireOutput();
    return exitPassed;
}

ExitStatus exportResults(const ResultsOptions& options) {
    requireFolder(options);
    const Selection selection = selectionOf(options);
    const ExportFormat format = options.format == "csv" ? ExportFormat::csv : ExportFormat::jsonLines;
    bool hasBegun = false;
    useIndex(options.folder, [&](Database& index) {
        if (std::exchange(hasBegun, true)) {
            throw std::runtime_error(options.folder + ": the index broke while it was read; call this again");
        }
        (options.values ? exportValues : exportAttempts)(index, selection, format, std::cout);
    });
    requireOutput();
    return exitPassed;
}

ExitStatus indexResults(const ResultsOptions& options) {
    requireFolder(options);
    if (options.rebuild && !rebuildIndex(options.folder)) {
        throw WrongUse(options.folder + ": its index can't be kept; reports make one in memory each time");
    }
    std::vector<Unreadable> unreadable;
    useIndex(options.folder, [&](Database& index) { unreadable = unreadableAttempts(index); });
    for (const Unreadable& one : unreadable) {
        std::cout << one.place << ": " << one.why << '\n';
    }
    requireOutput();
    return exitPassed;
}

}  // namespace station
