#include "station/results_options.h"

#include <CLI/CLI.hpp>

namespace station {

namespace {

void addFolder(CLI::App& command, ResultsOptions& options) {
    command.add_option("folder", options.folder, "folder of the records")->capture_default_str();
}

void addSelection(CLI::App& command, ResultsOptions& options) {
    command.add_option("--since", options.since,
                       "only attempts since then: 7d, 12h, 90m before now, or a day such as 2026-11-24");
    command.add_option("--product", options.selection.product, "only of that product");
    command.add_option("-u,--unit", options.selection.unit, "only of that unit");
    command.add_option("--station", options.selection.station, "only of that station");
    command.add_option("--item", options.selection.item, "only where that item was tested, judged by it");
}

}  // namespace

void addResultsCommands(CLI::App& app, ResultsOptions& options) {
    CLI::App* const report = app.add_subcommand("report", "table and page of all units");
    addFolder(*report, options);
    addSelection(*report, options);
    report->add_option("--from", options.database,
                       "of this database, postgresql://..., instead of the folder");
    report->add_option("--html", options.page,
                       "where the page goes [FOLDER/report.html; with --from: nowhere]");
    CLI::Option* const csv = report->add_flag("--csv", options.csv, "every unit as CSV; no page");
    report->add_flag("--json", options.json, "figures and every unit as JSON; no page")->excludes(csv);
    CLI::App* const lines = app.add_subcommand("export", "a line for each attempt, for other programs");
    addFolder(*lines, options);
    addSelection(*lines, options);
    lines->add_option("--format", options.format, "csv or json-lines")
        ->check(CLI::IsMember({"csv", "json-lines"}))
        ->capture_default_str();
    lines->add_flag("--values", options.values, "a line for each measured value instead, with its limits");
    CLI::App* const index = app.add_subcommand("index", "brings the index beside the records up to date");
    addFolder(*index, options);
    index->add_flag("--rebuild", options.rebuild, "reads every record again");
    addSyncCommand(app, options.sync);
}

}  // namespace station
