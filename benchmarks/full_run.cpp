// The full run on the healthy virtual board: its own time beside the waits that the tests demand.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <numeric>
#include <vector>

#include "vboard/board.h"

namespace {

constexpr int repetitions = 5;
constexpr double virtualTimeTarget = 1.0005;  // of the waits
constexpr double wallTimeTarget = 0.1;        // seconds

// What a healthy board's full run in networked mode has to wait for, whoever writes it. The tool's own trace
// would not do: a needless sleep stands in it like any other.
struct Wait {
    const char* what;
    int times;
    double seconds;
};
constexpr Wait mandatedWaits[] = {
    {"the CPLD settles, at start-up and in its own step", 2, 0.1},
    {"the board's mode settles", 1, 2},
    {"halves of three beeps, on three calls to the operator", 3 * 3 * 2, 0.2},
    {"pauses that the operator may cut short", 5, 1},
    {"alarm outputs settle: all off, then each of four on", 5, 2},
    {"the clock runs on behind each comparison", 3, 1},
    {"RS485: eight settling times in each of three trials", 3 * 8, 0.01},
    {"RS485: the bus comes to rest", 1, 0.01},
};

double mandatedSeconds() {
    return std::accumulate(std::begin(mandatedWaits), std::end(mandatedWaits), 0.0,
                           [](double sum, const Wait& wait) { return sum + wait.times * wait.seconds; });
}

double seconds(auto duration) {
    return std::chrono::duration<double>(duration).count();
}

const char* verdict(bool met) {
    return met ? "met" : "MISSED";
}

}  // namespace

int main() {
    std::vector<double> wallTimes;
    vboard::Run run;
    for (int i = 0; i < repetitions; ++i) {
        vboard::VirtualBoard board = vboard::VirtualBoard::healthy();
        const auto start = std::chrono::steady_clock::now();
        run = board.run({"netR8test"});
        wallTimes.push_back(seconds(std::chrono::steady_clock::now() - start));
    }
    for (const Wait& wait : mandatedWaits) {
        std::printf("%8.3f s  %2d x %4.2f s  %s\n", wait.times * wait.seconds, wait.times, wait.seconds,
                    wait.what);
    }
    const double waits = mandatedSeconds();
    const double ratio = seconds(run.elapsed) / waits;
    std::printf(
        "full run: %.4f s of virtual time, %u requests; mandated waits %.4f s; ratio %.5f, target %.4f %s\n",
        seconds(run.elapsed), run.requestCount, waits, ratio, virtualTimeTarget,
        verdict(ratio >= 1 && ratio <= virtualTimeTarget));
    const auto [least, most] = std::minmax_element(wallTimes.begin(), wallTimes.end());
    std::printf("full run: %.3f to %.3f s of wall time in %d runs, target %.1f %s\n", *least, *most,
                repetitions, wallTimeTarget, verdict(*least <= wallTimeTarget));
}
