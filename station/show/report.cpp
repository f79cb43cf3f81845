#include "station/show/report.h"

#include "station/keep/files.h"
#include "station/show/report_data.h"
#include "station/show/report_html.h"
#include "station/show/report_table.h"
#include "station/store/results_index.h"

namespace station {

namespace {

namespace fs = std::filesystem;

void print(const ReportData& data, const std::vector<Unreadable>& unreadable, ReportForm form,
           std::ostream& output) {
    switch (form) {
        case ReportForm::csv:
            printCsv(output, data);
            break;
        case ReportForm::json:
            printJson(output, data, unreadable);
            break;
        default:
            printTable(output, data, unreadable);
    }
}

// From the page to the results, as a link in it goes.
std::string wayBetween(const fs::path& page, const fs::path& results) {
    const fs::path from = fs::weakly_canonical(fs::absolute(page).parent_path());
    const fs::path way = fs::weakly_canonical(results).lexically_relative(from);
    return way == "." ? "" : way.string() + "/";
}

}  // namespace

bool writeReport(const std::filesystem::path& results, const ReportWish& wish, std::ostream& output) {
    bool isPrinted = false;  // an index that turns out to be broken is asked a second time
    std::string page;
    useIndex(results, [&](Database& index) {
        const ReportData data = readReport(index, selectedSource(wish.selection));
        const std::vector<Unreadable> unreadable = unreadableAttempts(index);
        if (!isPrinted) {
            print(data, unreadable, wish.form, output);
            output << std::flush;
            isPrinted = true;
        }
        if (wish.form == ReportForm::table && !(data.units.empty() && unreadable.empty())) {
            page = htmlPage(index, {data, unreadable, wish.selection, wayBetween(wish.page, results)});
        }
    });
    if (page.empty()) {
        return false;
    }
    writeAtomically(wish.page, page);
    return true;
}

bool writeReportOf(Database& database, const ReportWish& wish, std::ostream& output) {
    const ReportData data = readReport(database, selectedSource(wish.selection));
    print(data, {}, wish.form, output);
    if (wish.page.empty() || wish.form != ReportForm::table || data.units.empty()) {
        return false;
    }
    writeAtomically(wish.page, htmlPage(database, {data, {}, wish.selection, std::nullopt}));
    return true;
}

}  // namespace station
