#include "r8/rtc/rtc_test.h"

#include <fcntl.h>
#include <linux/rtc.h>
#include <signal.h>
#include <stdint.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

#include "r8/board/buzzer_watchdog.h"
#include "r8/driver/report/report_channel.h"
#include "r8/driver/report/run_results.h"
#include "r8/print.h"

namespace {

constexpr char reportModule[] = "rtc_test";
constexpr int comparisonCount = 3;
constexpr int64_t toleranceSeconds = 2;

static_assert(RTC_RD_TIME == 0x80247009, "the request that the board's kernel knows");
static_assert(sizeof(rtc_time) == 36, "the size that the request names");

std::atomic<uint32_t> readsWorked{0};  // read by the interrupt handler
std::atomic<uint32_t> readsFailed{0};

// The raised signal waits until the handler returns and ends the process then.
void RtcInterruptHandler(int number) {
    print("read rtc successfully %u times : failed %u times\n", readsWorked.load(), readsFailed.load());
    (void)raise(number);
    (void)signal(number, SIG_DFL);
}

// A clock that can't be read gives all zeros, which no comparison accepts.
tm ReadRtcTime() {
    rtc_time reading = {};
    const int fd = open("/dev/rtc0", O_RDONLY);
    if (ioctl(fd, RTC_RD_TIME, &reading) == 0) {
        readsWorked.fetch_add(1);
    } else {
        readsFailed.fetch_add(1);
        reading = {};
    }
    (void)close(fd);

    tm broken = {};
    broken.tm_sec = reading.tm_sec;
    broken.tm_min = reading.tm_min;
    broken.tm_hour = reading.tm_hour;
    broken.tm_mday = reading.tm_mday;
    broken.tm_mon = reading.tm_mon;
    broken.tm_year = reading.tm_year;
    broken.tm_wday = reading.tm_wday;
    broken.tm_yday = reading.tm_yday;
    broken.tm_isdst = reading.tm_isdst;
    return broken;
}

tm readSystemTime() {
    const time_t now = time(nullptr);
    tm broken = {};
    (void)gmtime_r(&now, &broken);
    return broken;
}

void EmitDateLine(const tm* t) {
    reportLine("%04d-%02d-%02d %02d:%02d:%02d\n", t->tm_year + 1900, t->tm_mon + 1, t->tm_mday, t->tm_hour,
               t->tm_min, t->tm_sec);
}

// The label and the date share a line on the console; the supervising process gets the dates only.
void showTime(const char* label, const tm* t) {
    if (consoleMode != 0) {
        print("%s", label);
    }
    EmitDateLine(t);
}

bool agree(tm clockTime, tm systemTime) {
    const int64_t clockSeconds = timegm(&clockTime);  // both are UTC: no time zone comes between them
    const int64_t systemSeconds = timegm(&systemTime);
    return systemSeconds <= clockSeconds + toleranceSeconds &&
           clockSeconds <= systemSeconds + toleranceSeconds;
}

}  // namespace

int RtcTest() {
    (void)signal(SIGINT, RtcInterruptHandler);
    int result = 0;
    for (int i = 0; i < comparisonCount; ++i) {
        const tm clockTime = ReadRtcTime();
        const tm systemTime = readSystemTime();
        showTime("时钟时间 ", &clockTime);
        showTime("系统时间 ", &systemTime);
        if (!agree(clockTime, systemTime)) {
            runResults.rtcFailed = 1;
            beep(2);
            result = 1;
        }
        sleep(1);
    }
    return result;
}
