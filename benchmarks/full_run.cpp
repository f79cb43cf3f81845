// The full run on the healthy virtual board: its own time beside the waits that the tests demand.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>

#include "ratios.h"
#include "vboard/board.h"

namespace {

constexpr int repetitions = 5;
constexpr double wallTimeTarget = 0.5;  // seconds

// The tool's sleeps, and its waits for the operator that ended in time: both say how long in their last word.
double mandatedWaits(const vboard::Run& run) {
    double seconds = 0;
    for (const vboard::TraceEntry& entry : run.trace) {
        const bool isPause = entry.request == "select" && entry.result == 0;
        if (entry.task == "main" && (entry.request == "sleep" || isPause)) {
            seconds += std::stod(entry.arguments.substr(entry.arguments.rfind(' ') + 1));
        }
    }
    return seconds;
}

// Peak resident memory of the process that this one started, in KiB; 0 when it can't be seen.
long peakMemoryOfTool() {
    const std::string self = "/proc/self/task/" + std::to_string(getpid()) + "/children";
    std::ifstream children(self);
    std::string tool;
    children >> tool;
    std::ifstream status("/proc/" + tool + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) {
            return std::stol(line.substr(6));
        }
    }
    return 0;
}

}  // namespace

void measureFullRun() {
    double wallTime = 1e9;
    long memory = 0;
    vboard::Run run;
    for (int i = 0; i < repetitions; ++i) {
        vboard::VirtualBoard board = vboard::VirtualBoard::healthy();
        board.settings.onOutput = [&](auto, auto) { memory = std::max(memory, peakMemoryOfTool()); };
        const auto start = std::chrono::steady_clock::now();
        run = board.run({"netR8test"});
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        wallTime = std::min(wallTime, taken.count());
    }
    const double virtualTime = std::chrono::duration<double>(run.elapsed).count();
    printRatio("full run, virtual time / its waits", virtualTime, mandatedWaits(run), "s", 1.01);
    printRatio("full run, wall time / half a second", wallTime, wallTimeTarget, "s", 1);
    std::printf("full run: %u requests; peak memory %ld KiB on this machine, preload library included\n",
                run.requestCount, memory);
}
