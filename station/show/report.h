#pragma once

// All attempts of a results folder: a table for a terminal, a list for programs, and one page that needs
// nothing but itself.

#include <filesystem>
#include <ostream>
#include <string>

#include "station/store/figures.h"

namespace station {

enum class ReportForm { table, csv, json };

struct ReportWish {
    Selection selection;
    ReportForm form = ReportForm::table;
    std::filesystem::path page;  // where it goes; none with a list for programs
};

// Brings the index up to date, prints the table or the list, UTF-8, and writes the page. What can't be read
// is named and in no figure. A folder that holds no attempts gets no page. Returns whether the page was
// written. Throws std::system_error when the folder can't be read or the page can't be written.
bool writeReport(const std::filesystem::path& results, const ReportWish& wish, std::ostream& output);

// The same of any database with the tables of station/store/schema.h; a page only where the wish names one,
// and without links to folders, which are elsewhere. Throws DatabaseError.
bool writeReportOf(Database& database, const ReportWish& wish, std::ostream& output);

}  // namespace station
