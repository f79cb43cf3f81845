#pragma once

// What a good unit of a product is, as its file says it: docs/product.md.

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/toml_section.h"
#include "station/interpret/check.h"

namespace station {

// What only a person can tell.
enum class Question {
    none,
    buzzerHeard,
    lampsGreenThenRed,
    clockRight,
};

// A single test of the tool, "r8 -o NUMBER [COUNT]".
struct PlannedTest {
    int number = 0;            // 1 to 11
    std::optional<int> count;  // repetitions, 1 to 99
    bool beforeFullRun = false;
    double limitSeconds = 180;  // the tool is ended behind it
    Question question = Question::none;
    double answerSeconds = 60;  // how long the operator has
};

// The limits of one value. element: "" for a value of the item itself or of each of its elements; else one of
// them, such as "card2" or "sda".
struct ValueLimit {
    std::string element;
    std::string key;  // of a row in station/product/values.h
    Limit limit;
};

struct ItemLimits {
    bool tested = true;  // the item must not be skipped; false: there is nothing to test, and nothing was
    std::vector<ValueLimit> limits;
    std::vector<std::string> elements;  // that have to be there
};

struct MacLimits {
    std::optional<std::int64_t> count;
    std::string first, last;  // lower case with colons; empty: no range
};

struct Product {
    std::string name;    // the file's
    std::string sha256;  // of its content

    // The gate before a run.
    std::optional<std::string> serialPattern;   // see matchesPattern
    std::optional<int> failedAttemptsAllowed;   // more need a note of the repair
    std::optional<std::string> goldenUnit;      // to be run each day

    std::optional<MacLimits> mac;
    std::map<std::string, ItemLimits> items;  // by name; what is not there is judged as without a product
    std::vector<PlannedTest> plan;            // in its order
};

// Throws host::TomlError that names file, line and key, and std::system_error where the file can't be read.
Product readProduct(const std::filesystem::path& path);

// The same from a text; the product has no sha256 then.
Product readProductText(const std::string& text, const std::string& file);

}  // namespace station
