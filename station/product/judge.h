#pragma once

// Judges a run by its product.

#include "station/interpret/run.h"
#include "station/product/product.h"

namespace station {

// Holds every value that the product limits against its limits, in the full run and in the single tests: item
// outcomes only get worse by that. Settles the checks and the unit's outcome. A limited value that was not
// seen makes its item incomplete, one outside its limits failed, and an item of the product that nothing
// tested makes the run incomplete. whole: all of the plan was run. Null: there is no product.
void judgeByProduct(TestRun& run, const Product* product, bool whole);

// At the very end: each failed or incomplete item gets its reasons.
void explain(TestRun& run, const Product* product);

}  // namespace station
