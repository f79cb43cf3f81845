#include "station/interpret/check.h"

#include <regex.h>

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

// regcomp(3)'s, freed at the end.
class Pattern {
  public:
    explicit Pattern(const std::string& text)
        : isOne_(text.find('\0') == std::string::npos &&
                 regcomp(&compiled_, text.c_str(), REG_EXTENDED) == 0) {}
    Pattern(const Pattern&) = delete;
    Pattern& operator=(const Pattern&) = delete;
    ~Pattern() {
        if (isOne_) {
            regfree(&compiled_);
        }
    }
    explicit operator bool() const { return isOne_; }
    const regex_t& operator*() const { return compiled_; }

  private:
    regex_t compiled_ = {};
    bool isOne_;
};

}  // namespace

bool matchesPattern(const std::string& pattern, const std::string& text) {
    const Pattern compiled(pattern);
    regmatch_t match = {};
    return compiled && text.size() <= longestMatched &&
           regexec(&*compiled, text.c_str(), 1, &match, 0) == 0 && match.rm_so == 0 &&
           static_cast<std::size_t>(match.rm_eo) == text.size();  // the longest one is found
}

bool isPattern(const std::string& pattern) {
    return static_cast<bool>(Pattern(pattern));
}

bool Limit::holds(const Value& value) const {
    return (!minimum || isOrdered(*minimum, value)) && (!maximum || isOrdered(value, *maximum)) &&
           (!expected || value == *expected) && (!pattern || matches(*pattern, value));
}

}  // namespace station
