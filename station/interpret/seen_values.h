#pragma once

// What an item's lines measured, as a flat list that limits can be held against.

#include <string>
#include <vector>

#include "station/interpret/check.h"
#include "station/interpret/run.h"

namespace station {

// One value. Of a value in a list: the list's name and the element's, which says what the element calls
// itself ("card2", "sda"), or its list and place ("pairs1").
struct SeenValue {
    std::string list;
    std::string element;
    std::string key;
    Value value;

    // "speedMbit", "card2.speedMbit"
    std::string path() const { return element.empty() ? key : element + "." + key; }
};

// In the order of the record. A value that no line gave is not there. Each list is also a value of the item:
// its number of elements, under its name.
std::vector<SeenValue> seenValues(const TestRun& run, const ItemRow& row);

}  // namespace station
