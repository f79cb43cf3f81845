#include "station/show/report.h"

#include "station/show/report_data.h"
#include "station/show/report_html.h"
#include "station/show/report_table.h"
#include "station/store/results_index.h"

namespace station {

namespace {

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

}  // namespace

bool writeReport(const std::filesystem::path& results, const ReportWish& wish, std::ostream& output) {
    ReportData data;
    std::vector<Unreadable> unreadable;
    useIndex(results, [&](Database& index) {
        data = readReport(index, selectedSource(wish.selection));
        unreadable = unreadableAttempts(index);
    });
    print(data, unreadable, wish.form, output);
    if (wish.form != ReportForm::table || (data.units.empty() && unreadable.empty())) {
        return false;
    }
    writePage(results, wish.page);
    return true;
}

void writeReportOf(Database& database, const ReportWish& wish, std::ostream& output) {
    print(readReport(database, selectedSource(wish.selection)), {}, wish.form, output);
}

}  // namespace station
