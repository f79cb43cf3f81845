#pragma once

// What all parts of an attempt are worth together. An attempt's run is that of its full run, with the single
// tests in it; without a full run it has them alone.

#include <functional>
#include <string>

#include "station/interpret/single_test.h"

namespace station {

// Another unit that has that address; empty: none. Throws UnknownHistory. Not set: nobody asks.
using OwnerOfMac = std::function<std::string(const std::string& mac)>;

// Takes a single test that has ended into the run, and its reasons.
void joinSingle(TestRun& run, SingleTest& test);

// Nothing of a full run belongs to it.
void leaveOutFullRun(TestRun& run);

// Fails the network's item where an address is another unit's. Where nobody can tell whose it is, the run
// proves nothing.
void checkAddresses(TestRun& run, const OwnerOfMac& ownerOfMac);

// The unit's outcome. What was left out of the plan is not known to be good.
void settleWhole(TestRun& run, bool isPartOfPlan);

}  // namespace station
