#pragma once

// What the tool expects of every board, in the form of a product's limits: for reasons only, its own verdict
// has been given.

#include <vector>

#include "station/interpret/run.h"
#include "station/product/product.h"

namespace station {

// Of one item. product: limits that go before; null: there are none.
ItemLimits toolLimits(const TestRun& run, const Item& item, const ItemLimits* product);

// Which alarm inputs were not as their outputs should have made them; empty for any other item.
std::vector<Words> alarmReasons(const TestRun& run, const Item& item);

}  // namespace station
