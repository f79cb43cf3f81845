#include "station/show/report.h"

#include "station/show/report_data.h"
#include "station/show/report_html.h"
#include "station/show/report_table.h"
#include "station/store/results_index.h"

namespace station {

bool writeReport(const std::filesystem::path& results, const ReportWish& wish, std::ostream& output) {
    ReportData data;
    std::vector<Unreadable> unreadable;
    useIndex(results, [&](Database& index) {
        data = readReport(index, selectedSource(wish.selection));
        unreadable = unreadableAttempts(index);
    });
    switch (wish.form) {
        case ReportForm::csv:
            printCsv(output, data);
            break;
        case ReportForm::json:
            printJson(output, data, unreadable);
            break;
        default:
            printTable(output, data, unreadable);
    }
    if (wish.form != ReportForm::table || (data.units.empty() && unreadable.empty())) {
        return false;
    }
    writePage(results, wish.page);
    return true;
}

}  // namespace station
