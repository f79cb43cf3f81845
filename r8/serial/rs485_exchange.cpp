#include "r8/serial/rs485_exchange.h"

#include <errno.h>
#include <fcntl.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <sys/select.h>
#include <unistd.h>

#include "r8/contract/rs485_frames.h"
#include "r8/driver/report/report_channel.h"
#include "r8/driver/report/run_results.h"
#include "r8/print.h"
#include "r8/serial/rs485_reply.h"
#include "r8/serial/rs485_transceiver.h"
#include "r8/serial/serial_port.h"

namespace {

constexpr char reportModule[] = "485testfork";
constexpr unsigned settleMicroseconds = 10 * 1000;
constexpr time_t replyTimeoutSeconds = 2;
constexpr int maxAttempts = 2;
// How an attempt at the reply went, or one step of it.
enum class Attempt {
    passed,
    again,   // the reply may still come
    failed,  // ends the trial
};

void listenToBus() {
    SetRs485TxEnable(0);
    SetRs485RxEnable(1);
    usleep(settleMicroseconds);
}

Attempt waitForReply(int fd) {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    timeval timeout = {};
    timeout.tv_sec = replyTimeoutSeconds;
    const int ready = select(fd + 1, &readable, nullptr, nullptr, &timeout);
    if (ready < 0) {
        print("select RS485[%s]", strerror(errno));
        return Attempt::failed;
    }
    if (ready == 0) {
        print("read select timeout[%s]", strerror(errno));
        sleep(1);
        return Attempt::again;
    }
    if (!FD_ISSET(fd, &readable)) {
        print("fd not set[%s]", strerror(errno));
        sleep(1);
        return Attempt::failed;
    }
    return Attempt::passed;
}

Attempt findLead(int fd) {
    switch (FindRs485ReplyLead(fd)) {
        case Rs485Lead::found:
            return Attempt::passed;
        case Rs485Lead::tooManyZeros:
            return Attempt::failed;
        default:
            SetRs485RxEnable(0);
            return Attempt::again;
    }
}

// A short read leaves the rest of reply as it was, which then fails the comparison.
Attempt readReply(int fd, Rs485Reply& reply) {
    usleep(settleMicroseconds);
    const ssize_t length = read(fd, reply.bytes, sizeof reply.bytes);
    const int readError = errno;
    usleep(settleMicroseconds);
    if (length < 0) {
        print("RS485接收失败,%s\n", strerror(readError));
        sleep(1);
        return Attempt::again;
    }
    SetRs485RxEnable(0);
    return MatchesRs485Reply(reply) ? Attempt::passed : Attempt::again;
}

Attempt receiveReply(int fd, Rs485Reply& reply) {
    Attempt result = waitForReply(fd);
    if (result == Attempt::passed) {
        result = findLead(fd);
    }
    if (result == Attempt::passed) {
        result = readReply(fd, reply);
    }
    return result;
}

bool awaitReply(int fd) {
    Rs485Reply reply;
    memset(reply.bytes, 0x01, sizeof reply.bytes);
    for (int attempt = 0;; ++attempt) {
        listenToBus();
        if (attempt == maxAttempts) {
            return false;
        }
        const Attempt result = receiveReply(fd, reply);
        if (result != Attempt::again) {
            return result == Attempt::passed;
        }
    }
}

void runTrial(int fd, int number, int* successes, int* failures) {
    if (WriteRs485Frame(fd, Rs485TestFrames[number - 1], rs485FrameBytes) < 0) {
        ++*failures;
        return;
    }
    usleep(settleMicroseconds);
    if (awaitReply(fd)) {
        ++*successes;
        print("RS485第 %d 次测试成功", number);
    } else {
        ++*failures;
        print("RS485第 %d 次测试失败", number);
    }
    if (WriteRs485Frame(fd, rs485StopFrame, rs485FrameBytes) < 0) {
        ++*failures;
    }
}

}  // namespace

void Rs485ExchangeTest(const char* path) {
    const int fd = open(path, O_RDWR | O_NONBLOCK);
    if (fd == -1) {
        print("设备 %s 不存在\n", path);
        runResults.rs485Failed = 1;
        return;
    }
    // 9600 baud, 8N1, no flow control. It says itself what failed; the replies decide.
    (void)InitSerialPort(fd, 9600, 3, 0, 0, 0);

    int successes = 0;
    int failures = 0;
    for (int number = 1; number <= rs485TrialCount; ++number) {
        runTrial(fd, number, &successes, &failures);
    }
    (void)close(fd);
    print("RS485测试成功次数为 %d，错误次数为 %d\n", successes, failures);

    runResults.rs485Failed = successes == rs485TrialCount && failures == 0 ? 0 : 1;
    if (runResults.rs485Failed == 0) {
        reportLine("485测试成功\n");
    } else {
        reportLine("485测试失败\n");
    }
    usleep(settleMicroseconds);
}
