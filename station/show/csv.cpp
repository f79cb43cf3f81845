#include "station/show/csv.h"

#include <cstdlib>
#include <string_view>

namespace station {

namespace {

// Plain decimal ones: "+1e5" or "-0x1" are no numbers of ours.
bool isNumber(const std::string& text) {
    constexpr std::string_view digits = "0123456789.";
    char* end = nullptr;
    (void)std::strtod(text.c_str(), &end);  // only where it stops counts
    return end == text.c_str() + text.size() && text.size() > 1 && text[0] == '-' &&
           text.find_first_not_of(digits, 1) == std::string::npos;
}

bool isFormula(const std::string& text) {
    constexpr std::string_view beginnings = "=+-@\t\r\n";
    return !text.empty() && beginnings.find(text[0]) != std::string_view::npos && !isNumber(text);
}

}  // namespace

std::string csvCell(const std::string& text) {
    const std::string harmless = (isFormula(text) ? "'" : "") + text;
    if (harmless.find_first_of(",\"\r\n") == std::string::npos) {
        return harmless;
    }
    std::string quoted = "\"";
    for (const char character : harmless) {
        quoted += character == '"' ? "\"\"" : std::string(1, character);
    }
    return quoted + '"';
}

void writeCsvLine(std::ostream& output, const std::vector<std::string>& cells) {
    for (std::size_t i = 0; i < cells.size(); ++i) {
        output << (i == 0 ? "" : ",") << csvCell(cells[i]);
    }
    output << "\r\n";
}

}  // namespace station
