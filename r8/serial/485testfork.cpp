#include "r8/serial/485testfork.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "r8/board/buzzer_watchdog.h"
#include "r8/board/control_device.h"
#include "r8/driver/report/report_channel.h"
#include "r8/print.h"
#include "r8/serial/deadline.h"
#include "r8/serial/serial_port.h"

namespace {

constexpr char reportModule[] = "485testfork";
constexpr int testFailure = -1;  // status 255
constexpr size_t blockBytes = 1024;
constexpr long waitBudgetSeconds = 5;
constexpr unsigned readerEndSeconds = 6;  // longer than the reader's budget
constexpr unsigned transceiverSettleMicroseconds = 100 * 1000;

struct {
    uint32_t matchedBytes;
    uint32_t mismatchedBytes;
} Rs485LoopCounters;  // only the reading process counts, in its own copy

uint8_t pattern[blockBytes];

// 9600 baud, 8N1, raw, in one step; parity sense and hardware flow control stay as the terminal has them.
int configurePort(int fd) {
    termios attributes = {};
    (void)tcgetattr(fd, &attributes);
    (void)cfsetispeed(&attributes, B9600);
    (void)cfsetospeed(&attributes, B9600);
    attributes.c_cflag &= ~static_cast<tcflag_t>(CSIZE | CSTOPB | PARENB);
    attributes.c_cflag |= CS8 | CREAD | CLOCAL;
    clearCookedFlags(&attributes);
    return tcsetattr(fd, TCSANOW, &attributes);
}

int openPort() {
    const int fd = open("/dev/ttyS1", O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (fd == -1) {
        print("open /dev/ttyS1 failed\n");
        exit(testFailure);
    }
    if (configurePort(fd) == -1) {
        print("tcsetattr failed");
        exit(testFailure);
    }
    return fd;
}

// What is sent comes back only while the receiver listens to the transmitter; so a switch that failed shows.
void enableTransceiver() {
    const int fd = openControlDevice();
    (void)ioctl(fd, ZORIO_RS485_RX_ENABLE, 1UL);
    (void)ioctl(fd, ZORIO_RS485_TX_ENABLE, 1UL);
    (void)close(fd);
    usleep(transceiverSettleMicroseconds);
}

void onInterrupt(void (*handler)(int)) {
    if (signal(SIGINT, handler) == SIG_ERR) {
        print("signal failed");
        exit(testFailure);
    }
}

bool sendRest(int fd, size_t* offset) {
    const ssize_t accepted = write(fd, pattern + *offset, blockBytes - *offset);
    if (accepted > 0) {
        *offset += static_cast<size_t>(accepted);
    }
    return accepted > 0;
}

void writeBlock(int fd) {
    const Deadline budget = deadlineIn(waitBudgetSeconds, 0);
    onInterrupt(SIG_DFL);
    size_t offset = 0;
    while (offset < blockBytes) {
        const int ready = waitWritable(fd, budget);
        if (ready < 0) {
            printTo(STDERR_FILENO, "select(): %s\n", strerror(errno));
        }
        const bool sent = ready > 0 && sendRest(fd, &offset);
        if (ready == 0 || (!sent && hasPassed(budget))) {  // a port that only fails must end too
            print("no more data can write in 5 seconds,exit \n");
            return;
        }
    }
    sleep(readerEndSeconds);
}

// Judges a chunk as a whole, against the pattern at the place in the block where it arrived.
bool receiveChunk(int fd, size_t* offset) {
    uint8_t chunk[blockBytes];
    const ssize_t length = read(fd, chunk, blockBytes - *offset);
    if (length <= 0) {
        return false;
    }
    const size_t bytes = static_cast<size_t>(length);
    if (memcmp(chunk, pattern + *offset, bytes) == 0) {
        Rs485LoopCounters.matchedBytes += static_cast<uint32_t>(bytes);
    } else {
        Rs485LoopCounters.mismatchedBytes += static_cast<uint32_t>(bytes);
    }
    *offset = (*offset + bytes) % blockBytes;
    return true;
}

// True when the whole block matched within the budget.
bool readBlock(int fd) {
    onInterrupt([](int) {});  // an interrupt only breaks the current wait
    const Deadline budget = deadlineIn(waitBudgetSeconds, 0);
    size_t offset = 0;
    while (Rs485LoopCounters.matchedBytes < blockBytes) {
        const int ready = waitReadable(fd, budget);
        if (ready < 0) {
            printTo(STDERR_FILENO, "read select(): %s\n", strerror(errno));
        }
        const bool received = ready > 0 && receiveChunk(fd, &offset);
        if (ready == 0 || (!received && hasPassed(budget))) {
            return false;
        }
    }
    return true;
}

[[noreturn]] void runReader(int fd) {
    const bool complete = readBlock(fd);
    const int matched = static_cast<int>(Rs485LoopCounters.matchedBytes);
    const int mismatched = static_cast<int>(Rs485LoopCounters.mismatchedBytes);
    if (complete) {
        reportLine("正确:    %d字节  \n错误:    %d字节 \n", matched, mismatched);
    } else {
        reportLine("发送  %d字节成功\n    %d字节失败 \n", matched, mismatched);
        beep(2);
    }
    exit(EXIT_SUCCESS);
}

}  // namespace

int Rs485LoopbackTest() {
    const int fd = openPort();
    for (size_t i = 0; i < blockBytes; ++i) {
        pattern[i] = static_cast<uint8_t>(i);
    }
    enableTransceiver();
    const pid_t reader = fork();
    if (reader == 0) {
        runReader(fd);
    }
    if (reader == -1) {
        printTo(STDERR_FILENO, "fork: %s\n", strerror(errno));  // without a reader the block still goes out
    }
    writeBlock(fd);
    return 0;
}
