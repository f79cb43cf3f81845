#pragma once

// All attempts of a results folder, as a table and as one page that needs nothing but itself.

#include <filesystem>
#include <ostream>

namespace station {

// Prints a line for each unit and one with the yield, UTF-8, and writes the page: one HTML document that
// loads nothing from anywhere, station/show/report_page.html with the records in it. Trials on a bench are
// shown, but count in no figure; a unit that still needs a person has not passed. Throws std::system_error
// when the folder or a record can't be read or the page can't be written.
void writeReport(const std::filesystem::path& results, const std::filesystem::path& page,
                 std::ostream& table);

}  // namespace station
