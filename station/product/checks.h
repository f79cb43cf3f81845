#pragma once

// Measured values beside the limits of a product.

#include <string>
#include <vector>

#include "station/interpret/run.h"
#include "station/product/product.h"
#include "station/product/value_rows.h"

namespace station {

// One check with what it is about: "card2", "sda"; empty for a value of the item itself.
struct ElementCheck {
    std::string element;
    const ValueRow* row;  // null: of the item as a whole ("tested", "durationSeconds"), or of an address
    Check check;
    bool isMissing = false;  // the element itself is not there: failed, not merely unknown
};

// A check for each value that is limited and for each element that has to be there, seen or not.
// implied: also those that go without saying where a product describes the item.
std::vector<ElementCheck> checksOf(const TestRun& run, const Item& item, const ItemLimits& limits,
                                   bool implied);

// Of the addresses that the board printed.
std::vector<ElementCheck> macChecks(const TestRun& run, const MacLimits& limits);

}  // namespace station
