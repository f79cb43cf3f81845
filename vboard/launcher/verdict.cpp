#include "vboard/launcher/verdict.h"

namespace vboard {

namespace {

constexpr int boardFailed = 1;
constexpr int provesNothing = 3;
constexpr int signalStatusBase = 128;  // as a shell has it

}  // namespace

int statusOf(const Run& run) {
    if (!run.stopReason.empty() || run.anyRefused()) {
        return provesNothing;
    }
    return run.exited() ? run.exitStatus() : signalStatusBase + run.signal();
}

Verdict verdictOf(const Run& run) {
    if (!run.stopReason.empty() || !run.sawEndMarker()) {
        return {provesNothing, "NO VERDICT: the run did not come to its end"};
    }
    if (run.anyRefused()) {
        return {provesNothing, "NO VERDICT: the board refused what it does not know"};
    }
    std::string items;
    for (const std::string& item : run.failedItems()) {
        items += " " + item;
    }
    return items.empty() ? Verdict{0, "PASSED"} : Verdict{boardFailed, "FAILED:" + items};
}

}  // namespace vboard
