#pragma once

#include <string>

#include "vboard/run.h"

namespace vboard {

// With what the launcher ends after a run: the tool's exit status, 128 + n after signal n, or 3 when the
// board had to stop the run or refused a request that it does not know.
int statusOf(const Run& run);

// What the summary of a full run says of the board, and with what the launcher ends then: 0 passed, 1 failed,
// 3 for a run that proves nothing.
struct Verdict {
    int status;
    std::string text;
};
Verdict verdictOf(const Run& run);

}  // namespace vboard
