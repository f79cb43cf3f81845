#pragma once

// The index as lines for spreadsheets and whatever else imports them; docs/export.md names the columns.

#include <ostream>

#include "station/store/figures.h"

namespace station {

enum class ExportFormat { csv, jsonLines };

// One line for each attempt as it stands now, or for each value that one has measured, by unit and start.
// csv: RFC 4180 with a line of names; json-lines: an object a line, with null for what is not known.
// Throws DatabaseError.
void exportAttempts(Database& database, const Selection& selection, ExportFormat format,
                    std::ostream& output);
void exportValues(Database& database, const Selection& selection, ExportFormat format, std::ostream& output);

}  // namespace station
