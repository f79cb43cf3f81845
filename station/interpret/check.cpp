#include "station/interpret/check.h"

#include <regex>

namespace station {

namespace {

constexpr std::size_t longestMatched = 256;  // bytes; a longer text of a board's is no model and no serial

// Values of two kinds have no order.
bool isOrdered(const Value& low, const Value& high) {
    return low.index() == high.index() && low <= high;
}

bool matches(const std::string& pattern, const Value& value) {
    const std::string* const text = std::get_if<std::string>(&value);
    return text != nullptr && matchesPattern(pattern, *text);
}

}  // namespace

bool matchesPattern(const std::string& pattern, const std::string& text) {
    try {
        return text.size() <= longestMatched &&
               std::regex_match(text, std::regex(pattern, std::regex::extended));
    } catch (const std::regex_error&) {
        return false;  // a text that takes the matcher too far is not one that was described
    }
}

bool isPattern(const std::string& pattern) {
    try {
        (void)std::regex(pattern, std::regex::extended);
        return true;
    } catch (const std::regex_error&) {
        return false;
    }
}

bool Limit::holds(const Value& value) const {
    return (!minimum || isOrdered(*minimum, value)) && (!maximum || isOrdered(value, *maximum)) &&
           (!expected || value == *expected) && (!pattern || matches(*pattern, value));
}

}  // namespace station
