#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

// A target lets the code have any bytes at all and states what must hold whatever they are.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

#define MUST(condition)                                                                           \
    do {                                                                                          \
        if (!(condition)) {                                                                       \
            (void)std::fprintf(stderr, "%s:%d: must hold: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                         \
        }                                                                                         \
    } while (false)

// A line on which these bytes have arrived, and then it hangs up.
class Line {
  public:
    Line(const std::uint8_t* data, std::size_t size) {
        int ends[2];
        MUST(size <= mostBytes && pipe(ends) == 0);
        MUST(write(ends[1], data, size) == static_cast<ssize_t>(size));
        (void)close(ends[1]);
        fd = ends[0];
    }
    ~Line() { (void)close(fd); }
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    // What nobody has read.
    std::vector<std::uint8_t> rest() const {
        std::vector<std::uint8_t> bytes(mostBytes);
        const ssize_t count = read(fd, bytes.data(), bytes.size());
        bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return bytes;
    }

    static constexpr std::size_t mostBytes = 4096;
    int fd = -1;
};
