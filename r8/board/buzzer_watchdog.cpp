#include "r8/board/buzzer_watchdog.h"

#include <stdint.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "r8/board/control_device.h"
#include "r8/print.h"

namespace {

constexpr unsigned beepHalfMicroseconds = 200 * 1000;
constexpr unsigned long restartTimeout = 5;  // in the driver's unit

void holdBuzzer(int fd, uint8_t on) {
    (void)ioctl(fd, ZORIO_SET_BUZZER, &on);  // the operator's ear is the judge
    usleep(beepHalfMicroseconds);
}

}  // namespace

void beep(int count) {
    if (count <= 0) {
        return;
    }
    const int fd = openControlDevice();
    if (fd == -1) {
        print("open hwInfo error!\n");
        return;
    }
    for (int i = 0; i < count; ++i) {
        holdBuzzer(fd, 1);
        holdBuzzer(fd, 0);
    }
    (void)close(fd);
}

void buzzerTest() {
    beep(3);
}

int watchdogTest() {
    const int fd = openControlDevice();
    if (fd == -1) {
        print("failed to open watchdog\n");
    }
    if (ioctl(fd, ZORIO_SET_WDT_TIMEOUT, restartTimeout) < 0) {
        print("set watchdog timeout failed\n");
    }
    (void)close(fd);
    return 0;
}
