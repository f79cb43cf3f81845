#pragma once

// What a good unit of a product is, as its file says it: docs/product.md.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "station/interpret/check.h"
#include "station/plan/plan.h"

namespace station {

// The limits of one value, see station/product/value_rows.h. element: "card2", "sda"; empty: the item's own
// value, or that of every element.
struct ValueLimit {
    std::string element;
    std::string key;
    Limit limit;
};

struct ItemLimits {
    bool tested = true;  // it must not be skipped; false: there is nothing to test, and nothing was tested
    std::optional<std::int64_t> seconds;  // at most, of its step
    std::vector<ValueLimit> values;
    std::vector<std::string> elements;  // that have to be there, with their limits or without
};

// Each address is valid, no group's, and there once, whatever stands here.
struct MacLimits {
    std::optional<std::int64_t> count;
    Limit range;  // lower case with colons
};

struct Product {
    std::string name;    // the file's
    std::string sha256;  // of its content

    // The gate before a run.
    std::optional<std::string> serialPattern;  // see matchesPattern
    std::optional<int> failedAttemptsAllowed;  // more need a note of the repair
    std::optional<std::string> goldenUnit;     // to be run each day

    MacLimits mac;
    std::map<std::string, ItemLimits> items;  // by name; what is not there is judged as without a product
    std::vector<Part> plan;                   // the full run and the single tests, in their order
};

}  // namespace station
