// The full run on the healthy virtual board: its own time beside the waits that the tests demand.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>

#include "benchmarks/ratios.h"
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

// Resident memory in KiB, by what it holds.
struct Memory {
    long program = 0;    // the tool's own file: code, constants, data
    long anonymous = 0;  // stacks, and what the C library and the preload library keep outside of their files
    long libraries = 0;  // C library, loader, preload library

    bool operator<(const Memory& other) const {
        return program + anonymous < other.program + other.anonymous;
    }
};

std::string startedProcess() {
    std::ifstream children("/proc/self/task/" + std::to_string(getpid()) + "/children");
    std::string process;
    children >> process;
    return process;
}

// Of the tool, which this process started, as smaps tells it (proc(5)); zeros when it can't be seen.
Memory memoryOfTool() {
    Memory memory;
    long* kind = nullptr;
    std::ifstream maps("/proc/" + startedProcess() + "/smaps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find(": ") == line.npos) {  // "5581c0-5581d2 r-xp 00000000 fe:01 1234   /path/of/r8"
            const bool isFile = line.find('/') != line.npos;
            kind = !isFile ? &memory.anonymous : line.ends_with("/r8") ? &memory.program : &memory.libraries;
        } else if (kind != nullptr && line.starts_with("Rss:")) {
            *kind += std::stol(line.substr(4));
        }
    }
    return memory;
}

}  // namespace

void measureFullRun() {
    double wallTime = 1e9;
    Memory memory;
    vboard::Run run;
    for (int i = 0; i < repetitions; ++i) {
        vboard::VirtualBoard board = vboard::VirtualBoard::healthy();
        board.settings.onOutput = [&](auto, auto) { memory = std::max(memory, memoryOfTool()); };
        const auto start = std::chrono::steady_clock::now();
        run = board.run({"netR8test"});
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        wallTime = std::min(wallTime, taken.count());
    }
    const double virtualTime = std::chrono::duration<double>(run.elapsed).count();
    printRatio("full run, virtual time / its waits", virtualTime, mandatedWaits(run), "s", 1.01);
    printRatio("full run, wall time / half a second", wallTime, wallTimeTarget, "s", 1);
    std::printf("full run: %u requests\n", run.requestCount);
    std::printf("memory of the tool: program %ld KiB, stacks and data %ld KiB\n", memory.program,
                memory.anonymous);
    std::printf("libraries, of which the board's build has none: %ld KiB\n", memory.libraries);
}
