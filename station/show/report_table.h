#pragma once

// The report for a terminal and for programs.

#include <ostream>
#include <vector>

#include "station/show/report_data.h"
#include "station/store/results_index.h"

namespace station {

// The newest units and the figures with what they are of. Times are local.
void printTable(std::ostream& output, const ReportData& data, const std::vector<Unreadable>& unreadable);

// Every unit: RFC 4180 with a line of names, or one JSON document. Times are UTC.
void printCsv(std::ostream& output, const ReportData& data);
void printJson(std::ostream& output, const ReportData& data, const std::vector<Unreadable>& unreadable);

}  // namespace station
