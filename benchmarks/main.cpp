// What the tool costs, as ratios taken side by side in one run.

#include "benchmarks/ratios.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

namespace {

struct Pair {
    const char* what;
    const char* ours;
    const char* bare;
    double target;
};

constexpr Pair pairs[] = {
    {"report line, pipe mode / by hand", "ReportLine", "ReportLineByHand", 1.5},
    {"firmware upload / bare requests", "FirmwareUpload", "FirmwareUploadBare", 1.2},
    {"firmware verify / bare requests", "FirmwareVerify", "FirmwareVerifyBare", 1.2},
    {"board report / writing its bytes", "BoardReport", "BoardReportBytes", 0},
};

// Keeps the best repetition: whatever else the machine does only ever adds.
class BestTimes : public benchmark::BenchmarkReporter {
  public:
    CpuTimes times;

    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
                const double time = run.GetAdjustedCPUTime();
                const auto [entry, isNew] = times.emplace(run.run_name.function_name, time);
                entry->second = isNew ? time : std::min(entry->second, time);
            }
        }
    }
};

// The tool's own output goes nowhere while it is measured.
CpuTimes runBenchmarks() {
    (void)std::fflush(stdout);
    const int screen = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY);
    (void)dup2(nowhere, STDOUT_FILENO);
    (void)close(nowhere);
    BestTimes best;
    benchmark::RunSpecifiedBenchmarks(&best);
    (void)dup2(screen, STDOUT_FILENO);
    (void)close(screen);
    return best.times;
}

}  // namespace

void printRatio(const char* what, double cost, double least, const char* unit, double target) {
    const double ratio = cost / least;
    char wanted[32] = "";
    if (target != 0) {
        (void)std::snprintf(wanted, sizeof wanted, "%7.2f %s", target, ratio <= target ? "met" : "MISSED");
    }
    std::printf("%-38s %12.4g %12.4g %-3s %7.3f %s\n", what, cost, least, unit, ratio, wanted);
}

void printRatios(const CpuTimes& times) {
    std::printf("%-38s %12s %12s %-3s %7s %7s\n", "", "cost", "least", "", "ratio", "target");
    for (const Pair& pair : pairs) {
        const auto ours = times.find(pair.ours);
        const auto bare = times.find(pair.bare);
        if (ours != times.end() && bare != times.end()) {
            printRatio(pair.what, ours->second, bare->second, "ns", pair.target);
        }
    }
}

int main(int argc, char** argv) {
    std::vector<char*> arguments(argv, argv + argc);
    char repetitions[] = "--benchmark_repetitions=9";
    char interleaving[] = "--benchmark_enable_random_interleaving=true";
    arguments.insert(arguments.begin() + 1, {repetitions, interleaving});
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    (void)std::setvbuf(stdout, nullptr, _IONBF, 0);  // as the tool has it
    printRatios(runBenchmarks());
    measureFullRun();
    measureHandOver();
    printFirmwareRequests();
    return 0;
}
