// Upload and verification of the largest image, with a flash that is ready at once. A request enters the
// host's kernel, which refuses it, and is then answered here: the least that a request can cost on a real
// board.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "benchmarks/ratios.h"
#include "r8/contract/little_endian.h"
#include "r8/pmfw/pm_access.h"
#include "r8/pmfw/pm_flash.h"

namespace {

constexpr std::uint32_t imageBytes = 131068;
constexpr std::size_t dataAt = 2;  // in a request's record
constexpr std::size_t addressAt = 10;

std::vector<std::uint8_t> image(imageBytes, 0x5A);
unsigned long requests = 0;

}  // namespace

// In this program in place of the C library's.
extern "C" int ioctl(int fd, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    auto* record = va_arg(arguments, std::uint8_t*);
    va_end(arguments);
    (void)syscall(SYS_ioctl, fd, request, record);
    ++requests;
    if (record[1] == (pmControl::readStatus & 0xFF)) {
        record[dataAt] = 0;
    } else if (record[1] == (pmControl::read & 0xFF)) {
        std::memcpy(record + dataAt, image.data() + littleEndian32(record + addressAt), flashWordBytes);
    }
    return 0;
}

namespace {

// A disk behind a chip, and the image file.
void plugIn() {
    pmState = {};
    pmState.driveFd = open("/dev/null", O_RDWR);
    pmState.imageFd = memfd_create("image", MFD_CLOEXEC);
    pmState.imageLength = imageBytes;
    if (pmState.driveFd == -1 || pmState.imageFd == -1 ||
        write(pmState.imageFd, image.data(), image.size()) != static_cast<ssize_t>(image.size())) {
        std::abort();
    }
}

void unplug() {
    (void)close(pmState.driveFd);
    (void)close(pmState.imageFd);
}

void request(std::uint16_t control, std::uint32_t address, const std::uint8_t* data) {
    std::uint8_t record[pmprwRecordBytes] = {
        0, static_cast<std::uint8_t>(control),     0, 0, 0, 0, 0x80, 0xF7,
        0, static_cast<std::uint8_t>(control >> 8)};
    std::memcpy(record + addressAt, &address, sizeof address);
    std::memcpy(record + dataAt, data, flashWordBytes);
    benchmark::DoNotOptimize(ioctl(pmState.driveFd, pmprwRequest, record));
}

void FirmwareUpload(benchmark::State& state) {
    plugIn();
    for (auto _ : state) {
        benchmark::DoNotOptimize(uploadcode());
    }
    unplug();
}
BENCHMARK(FirmwareUpload);

void FirmwareUploadBare(benchmark::State& state) {
    plugIn();
    for (auto _ : state) {
        for (std::uint32_t address = 0; address < imageBytes; address += flashWordBytes) {
            request(pmControl::writeEnable, address, image.data() + address);
            request(pmControl::pageProgram, address, image.data() + address);
            request(pmControl::readStatus, address, image.data() + address);
        }
    }
    unplug();
}
BENCHMARK(FirmwareUploadBare);

void FirmwareVerify(benchmark::State& state) {
    plugIn();
    for (auto _ : state) {
        if (verifycode() != 1) {
            state.SkipWithError("flash and image differ");
        }
    }
    unplug();
}
BENCHMARK(FirmwareVerify);

void FirmwareVerifyBare(benchmark::State& state) {
    plugIn();
    for (auto _ : state) {
        for (std::uint32_t address = 0; address < imageBytes; address += flashWordBytes) {
            request(pmControl::read, address, image.data() + address);
        }
    }
    unplug();
}
BENCHMARK(FirmwareVerifyBare);

}  // namespace

void printFirmwareRequests() {
    constexpr unsigned long words = imageBytes / flashWordBytes;
    const int screen = dup(STDOUT_FILENO);
    (void)!freopen("/dev/null", "w", stdout);
    plugIn();
    requests = 0;
    (void)uploadcode();
    const unsigned long upload = requests;
    requests = 0;
    (void)verifycode();
    const unsigned long verify = requests;
    unplug();
    (void)dprintf(screen, "requests for %lu words: upload %lu (3 a word and %lu around them), verify %lu\n",
                  words, upload, upload - 3 * words, verify);
    (void)close(screen);
}
