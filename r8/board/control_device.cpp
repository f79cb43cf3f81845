#include "r8/board/control_device.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "r8/print.h"

namespace {

constexpr unsigned long indicatorLine = 4;
constexpr unsigned long gpioLevelHigh = 0x100;

}  // namespace

int openControlDevice() {
    return open("/dev/zorio", O_RDWR);
}

int getCpldInfo(int fd, CpldInfo* record) {
    if (fd == -1 || record == nullptr) {
        print("arg error!!!");
        return -1;
    }
    memset(record, 0, sizeof *record);
    if (ioctl(fd, ZORIO_GET_CPLD_INFO, record) == 0) {
        return 0;
    }
    print("ioctl get cpld error, errno=%d.\n", errno);
    return -1;
}

int resetPortMultiplier(unsigned long group) {
    print("update the firmware success, now reset the jmb321!\r\n");
    const int fd = openControlDevice();
    (void)ioctl(fd, ZORIO_RESET_PM, group);  // the chip's verdict stands already, whatever the reset does
    (void)close(fd);
    return 0;
}

void setIndicator(int on) {
    const int fd = openControlDevice();
    // The indicator only repeats the printed verdict: a board without it is no worse.
    (void)ioctl(fd, ZORIO_GPIO_SET_OUTPUT, indicatorLine);
    (void)ioctl(fd, ZORIO_GPIO_WRITE, on != 0 ? indicatorLine | gpioLevelHigh : indicatorLine);
    (void)close(fd);
}
