// What every module of the tool stands on: its formatter against the C library's, what its writing promises,
// and reading directories.

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>

#include "r8/directory.h"
#include "r8/print.h"

namespace {

template <typename... Arguments>
void expectAsInTheLibrary(const char* format, Arguments... arguments) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    for (const std::size_t size : {64U, 5U, 1U}) {
        char expected[64];
        char text[64];
        (void)std::snprintf(expected, size, format, arguments...);
        errno = EBUSY;
        EXPECT_EQ(formatText(text, size, format, arguments...), std::string(expected).size()) << format;
        EXPECT_STREQ(text, expected) << format;
        EXPECT_EQ(errno, EBUSY);
    }
#pragma GCC diagnostic pop
}

}  // namespace

TEST(Print, FormatsAsTheLibraryDoes) {
    expectAsInTheLibrary("nothing to convert\n");
    for (const int number : {0, 7, -7, 65535, INT_MAX, INT_MIN}) {
        expectAsInTheLibrary("%d, %04d", number, number);
        expectAsInTheLibrary("%u%x%X", number, number, number);
        expectAsInTheLibrary("<%#x>%02X %08Xh", number, number, number);
        expectAsInTheLibrary("%lldGB", number * 0x4000'0003LL);
        expectAsInTheLibrary("%llu", number * 0x1'0000'0003ULL);
    }
    expectAsInTheLibrary("%c%s%c", '[', "", ']');
    expectAsInTheLibrary("%s: %s %d", "端口", "a text that is longer than the room", 3);
}

TEST(Print, AMessageIsOneWriteAndLeavesErrno) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_DIRECT | O_NONBLOCK), 0);  // keeps writes apart
    errno = ENOENT;
    EXPECT_EQ(printTo(ends[1], "%s %d\n", "first", 1), 8);
    EXPECT_EQ(printTo(ends[1], "%s", std::string(600, 'x').c_str()), 511);
    char bytes[1024];
    EXPECT_EQ(read(ends[0], bytes, sizeof bytes), 8);
    EXPECT_EQ(read(ends[0], bytes, sizeof bytes), 511);
    EXPECT_EQ(read(ends[0], bytes, sizeof bytes), -1);
    (void)close(ends[0]);
    errno = ENOENT;
    const auto reader = signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(printTo(ends[1], "lost"), -1);
    EXPECT_EQ(errno, ENOENT);
    (void)signal(SIGPIPE, reader);
    (void)close(ends[1]);
}

// The writer is interrupted before each read, mostly while it waits for room in the pipe.
TEST(Print, SignalsAndASlowReaderLoseNothing) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    struct sigaction interrupt = {};  // without SA_RESTART
    interrupt.sa_handler = [](int) {};
    struct sigaction before = {};
    ASSERT_EQ(sigaction(SIGUSR1, &interrupt, &before), 0);
    const std::string text(1'000'000, 'x');
    ssize_t written = 0;
    std::thread writer([&] {
        written = writeText(ends[1], text.data(), text.size());
        (void)close(ends[1]);
    });
    std::string arrived(text.size(), '\0');
    for (std::size_t count = 0; count < arrived.size();) {
        for (int i = 0; i < 5; ++i) {  // with a part of the text taken, and with none
            (void)pthread_kill(writer.native_handle(), SIGUSR1);
            std::this_thread::yield();
        }
        const ssize_t bytes =
            read(ends[0], arrived.data() + count, std::min<std::size_t>(5000, arrived.size() - count));
        if (bytes <= 0) {
            break;
        }
        count += static_cast<std::size_t>(bytes);
    }
    writer.join();
    EXPECT_EQ(written, static_cast<ssize_t>(text.size()));
    EXPECT_EQ(arrived, text);
    (void)sigaction(SIGUSR1, &before, nullptr);
    (void)close(ends[0]);
}

// More names than fit one buffer, and the longest ones.
TEST(Directory, GivesEachNameOnceAndEnds) {
    char pattern[] = "/tmp/r8-directory-XXXXXX";
    const std::filesystem::path folder = mkdtemp(pattern);
    std::multiset<std::string> expected = {".", ".."};
    for (int i = 0; i < 60; ++i) {
        expected.insert(std::string(static_cast<std::size_t>(1 + i * 4), static_cast<char>('A' + i % 26)));
    }
    for (const std::string& name : expected) {
        std::ofstream(folder / name).flush();
    }
    Directory directory(folder.c_str());
    EXPECT_TRUE(directory.isOpen());
    std::multiset<std::string> found;
    while (const char* name = directory.next()) {
        found.insert(name);
    }
    EXPECT_EQ(found, expected);
    EXPECT_EQ(directory.next(), nullptr);
    EXPECT_FALSE(Directory((folder / "A").c_str()).isOpen());
    EXPECT_EQ(Directory("/does/not/exist").next(), nullptr);
    std::filesystem::remove_all(folder);
}
