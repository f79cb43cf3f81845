#pragma once

// The measured values of an item of a record, under names that stay.

#include <functional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "station/store/stored_attempt.h"

namespace station {

// Of records by the hundred thousand. Not the type that writes them, whose code is not made for speed.
using RecordJson = nlohmann::json;

// Records come from a disk that anybody may write to: a value that is no text reads as none, and so does one
// of what is no object.
std::string textOf(const RecordJson& object, const char* key);

// Adds each number that the item has measured, and each value that has a limit, once. A value is named by its
// path, "found"; the elements of a list by what they are, "card2.speedMbit", "sda.capacityGiB", or by the
// list and their place in it, "pairs1.differenceSeconds".
void addValues(std::vector<StoredValue>& values, const std::string& itemName, const RecordJson& item);

// Calls onValue with the name and the value of everything that was measured, texts and flags included.
void forEachMeasured(const RecordJson& measured,
                     const std::function<void(const std::string& name, const RecordJson& value)>& onValue);

}  // namespace station
