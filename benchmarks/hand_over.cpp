// What a request of the tool costs on the virtual board, in wall time: two hand-overs between their
// processes, and the board's own work. Sleeping cores and busy ones cost differently, so both are measured.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <deque>
#include <thread>
#include <vector>

#include "benchmarks/ratios.h"
#include "host/child_process.h"
#include "vboard/board.h"

namespace {

constexpr int repetitions = 9;
constexpr double requestTarget = 12;  // microseconds
constexpr std::uint32_t imageBytes = 32768;

// Microseconds a request of a firmware update, the start of the tool included.
double measureOnce() {
    vboard::VirtualBoard board("pm-update");
    board.firmware.content = vboard::firmwareImage(imageBytes, 6, 0x0D);
    const auto start = std::chrono::steady_clock::now();
    const vboard::Run run = board.run(board.arguments);
    const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - start;
    return taken.count() / run.requestCount;
}

void measure(const char* what) {
    std::vector<double> costs;
    for (int i = 0; i < repetitions; ++i) {
        costs.push_back(measureOnce());
    }
    std::sort(costs.begin(), costs.end());
    printRatio(what, costs[repetitions / 2], requestTarget, "us", 1);
    std::printf("%-38s %12.4g %12.4g us\n", "    best and worst", costs.front(), costs.back());
}

// Whatever else a machine has to do: a process on each core that only computes.
class Load {
  public:
    Load() {
        host::Command command;
        command.words = {"sh", "-c", "while :; do :; done"};
        command.endsWithParent = true;
        for (unsigned i = 0; i < std::thread::hardware_concurrency(); ++i) {
            processes_.emplace_back(command);
        }
    }

  private:
    std::deque<host::ChildProcess> processes_;
};

}  // namespace

void measureHandOver() {
    measure("request on the virtual board, idle");
    const Load load;
    measure("request on the virtual board, loaded");
}
