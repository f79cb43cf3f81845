#pragma once

// A measured value beside its limits, and words for a person in both languages.

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace station {

// One text in the board's language and in English.
struct Words {
    std::string zh;
    std::string en;
};

// A number, a flag or a text. Dates ("2014-05-23") and MAC addresses (lower case) are texts whose order is
// theirs.
using Value = std::variant<std::int64_t, bool, std::string>;

// Whether the whole text is as the POSIX extended regular expression says. Texts of more than 256 bytes never
// are.
bool matchesPattern(const std::string& pattern, const std::string& text);

// Whether it is one at all.
bool isPattern(const std::string& pattern);

// What a value has to be; all that is set has to hold. Empty limits hold for every value that is there.
struct Limit {
    std::optional<Value> minimum = {};
    std::optional<Value> maximum = {};
    std::optional<Value> expected = {};
    std::optional<std::string> pattern = {};  // see matchesPattern

    // Whether the value is inside. A value of another kind than the limit is outside.
    bool holds(const Value& value) const;
};

// As the record has it.
struct Check {
    std::string value;              // "card2.speedMbit"; stable
    std::optional<Value> measured;  // none: it was not seen
    Limit limit;
    bool passed = false;
};

}  // namespace station
