// The report channel in networked mode, next to the same records made by hand.

#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "benchmarks/measure.h"
#include "r8/driver/report/report_channel.h"

namespace {

constexpr char reportModule[] = "benchmark";
constexpr int lines = 100;
constexpr std::size_t recordHeaderBytes = 8;

int ends[2];  // the named pipe: the supervising process's end, and the tool's

std::string takeAll() {
    std::string bytes(64 * 1024, '\0');
    const ssize_t count = read(ends[0], bytes.data(), bytes.size());
    bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return bytes;
}

__attribute__((format(printf, 2, 3))) void writeByHand(int fd, const char* format, ...) {
    char record[recordHeaderBytes + 1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(record + recordHeaderBytes, 1024, format, arguments);
    va_end(arguments);
    const std::uint32_t header[] = {0, static_cast<std::uint32_t>(length)};
    std::memcpy(record, header, sizeof header);
    if (write(fd, record, recordHeaderBytes + static_cast<std::size_t>(length)) < 0) {
        std::abort();
    }
}

void byTool() {
    for (int drive = 0; drive < lines; ++drive) {
        reportLine("SATA%d: %s, %d MB\n", drive, "WD10EURX-63FH1Y0", 953869);
    }
}

void byHand() {
    for (int drive = 0; drive < lines; ++drive) {
        writeByHand(reportPipeFd, "SATA%d: %s, %d MB\n", drive, "WD10EURX-63FH1Y0", 953869);
    }
}

}  // namespace

void measureReport() {
    if (pipe2(ends, O_NONBLOCK) != 0) {
        std::abort();
    }
    consoleMode = 0;
    reportPipeFd = ends[1];
    byTool();
    const std::string records = takeAll();
    byHand();
    if (records != takeAll()) {
        std::abort();
    }
    const auto empty = [] { (void)takeAll(); };
    measure("report line, pipe mode", tool, lines, empty, byTool);
    measure("report line, pipe mode", bare, lines, empty, byHand);
}
