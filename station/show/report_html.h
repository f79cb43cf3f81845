#pragma once

// The report as one HTML document that loads nothing from anywhere. It has a bound on its size whatever there
// is: figures over everything; units in one line each, those that need attention and then the newest first;
// and of as many as there is room for, in that order, what was measured. The page says how many of how many.

#include <string>
#include <vector>

#include "station/show/report_data.h"
#include "station/store/results_index.h"

namespace station {

struct PageSubject {
    const ReportData& data;
    const std::vector<Unreadable>& unreadable;
    const Selection& selection;
    // The way from the page to the attempts' folders, with "/" behind it or empty; none where they are not
    // to be had from the page.
    std::optional<std::string> folders;
};

// Throws DatabaseError.
std::string htmlPage(Database& database, const PageSubject& subject);

}  // namespace station
