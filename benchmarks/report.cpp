// The report channel in networked mode, with a pipe that is read every hundred lines on both sides.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "r8/board/boardinfo.h"
#include "r8/driver/report/report_channel.h"

namespace {

constexpr char reportModule[] = "benchmark";
constexpr int linesBetweenReads = 100;
constexpr std::size_t recordHeaderBytes = 8;

// The named pipe, with the supervising process's end.
struct ReportPipe {
    ReportPipe() {
        if (pipe2(ends, O_NONBLOCK) != 0) {
            std::abort();
        }
        consoleMode = 0;
        reportPipeFd = ends[1];
    }
    ~ReportPipe() {
        (void)close(ends[0]);
        (void)close(ends[1]);
    }
    std::string readAll() const {
        std::string bytes(64 * 1024, '\0');
        const ssize_t count = read(ends[0], bytes.data(), bytes.size());
        bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return bytes;
    }
    int ends[2];
};

__attribute__((format(printf, 2, 3))) void writeByHand(int fd, const char* format, ...) {
    char record[recordHeaderBytes + 1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(record + recordHeaderBytes, 1024, format, arguments);
    va_end(arguments);
    const std::uint32_t header[] = {0, static_cast<std::uint32_t>(length)};
    std::memcpy(record, header, sizeof header);
    benchmark::DoNotOptimize(write(fd, record, recordHeaderBytes + static_cast<std::size_t>(length)));
}

void ReportLine(benchmark::State& state) {
    const ReportPipe pipe;
    int drive = 0;
    for (auto _ : state) {
        for (int i = 0; i < linesBetweenReads; ++i) {
            reportLine("SATA%d: %s, %d MB\n", ++drive, "WD10EURX-63FH1Y0", 953869);
        }
        benchmark::DoNotOptimize(pipe.readAll());
    }
}
BENCHMARK(ReportLine);

void ReportLineByHand(benchmark::State& state) {
    const ReportPipe pipe;
    int drive = 0;
    for (auto _ : state) {
        for (int i = 0; i < linesBetweenReads; ++i) {
            writeByHand(reportPipeFd, "SATA%d: %s, %d MB\n", ++drive, "WD10EURX-63FH1Y0", 953869);
        }
        benchmark::DoNotOptimize(pipe.readAll());
    }
}
BENCHMARK(ReportLineByHand);

CpldInfo someBoard() {
    CpldInfo info = {};
    for (std::size_t i = 0; i < sizeof info.bytes; ++i) {
        info.bytes[i] = static_cast<std::uint8_t>(i % 4 << 4 | i % 3);
    }
    return info;
}

void BoardReport(benchmark::State& state) {
    const ReportPipe pipe;
    const CpldInfo info = someBoard();
    for (auto _ : state) {
        PrintCpldInfo(&info);
        benchmark::DoNotOptimize(pipe.readAll());
    }
}
BENCHMARK(BoardReport);

void BoardReportBytes(benchmark::State& state) {
    const ReportPipe pipe;
    const CpldInfo info = someBoard();
    PrintCpldInfo(&info);
    std::vector<std::string> records;
    for (std::string bytes = pipe.readAll(); !bytes.empty();) {
        std::uint32_t length = 0;
        std::memcpy(&length, bytes.data() + 4, sizeof length);
        records.push_back(bytes.substr(0, recordHeaderBytes + length));
        bytes.erase(0, records.back().size());
    }
    for (auto _ : state) {
        for (const std::string& record : records) {
            benchmark::DoNotOptimize(write(reportPipeFd, record.data(), record.size()));
        }
        benchmark::DoNotOptimize(pipe.readAll());
    }
}
BENCHMARK(BoardReportBytes);

}  // namespace
