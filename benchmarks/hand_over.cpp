// What a request of the tool costs on the virtual board, in wall time: two hand-overs between their
// processes, and the board's own work. Sleeping cores and busy ones cost differently, so both are measured.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <deque>
#include <thread>
#include <vector>

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
    const double median = costs[repetitions / 2];
    std::printf("request on the virtual board, %s: %.1f us (%.1f to %.1f in %d runs), target %.0f %s\n", what,
                median, costs.front(), costs.back(), repetitions, requestTarget,
                median <= requestTarget ? "met" : "MISSED");
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

int main() {
    measure("idle");
    const Load load;
    measure("loaded");
}
