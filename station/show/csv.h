#pragma once

// Comma-separated values as RFC 4180 has them, with lines that end in CR LF.

#include <ostream>
#include <string>
#include <vector>

namespace station {

// Quoted where it must be. A text that a spreadsheet would calculate (it begins with = + - @, a tab or a line
// break, and is no number) gets an apostrophe in front, which it shows as text.
std::string csvCell(const std::string& text);

void writeCsvLine(std::ostream& output, const std::vector<std::string>& cells);

}  // namespace station
