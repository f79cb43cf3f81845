#include "board/control_device.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "board/board_config.h"

BootParams bootParams;

namespace {

constexpr unsigned long indicatorLine = 4;
constexpr unsigned long gpioLevelHigh = 0x100;

uint16_t littleEndianWord(const uint8_t* bytes) {
    return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

}  // namespace

int cpldField(const CpldInfo& info, CpldField field) {
    return littleEndianWord(info.bytes + field.offset) >> field.shift & field.mask;
}

int openControlDevice() {
    return open("/dev/zorio", O_RDWR);
}

int getCpldInfo(int fd, CpldInfo* record) {
    if (fd == -1 || record == nullptr) {
        puts("arg error!!!");
        return -1;
    }
    memset(record, 0, sizeof *record);
    if (ioctl(fd, ZORIO_GET_CPLD_INFO, record) == 0) {
        return 0;
    }
    const int error = errno;
    printf("ioctl get cpld error, errno=%d.\n", error);
    errno = error;
    return -1;
}

int getBootParams(int fd) {
    BootParams answer = {};
    if (ioctl(fd, ZORIO_GET_BOOT_PARMS, &answer) == -1) {
        puts("ioctl ZORIO_GET_BOOT_PARMS error");
        return 0;
    }
    bootParams = answer;
    setRs485Present(littleEndianWord(bootParams.bytes + bootParamsBoardTypeCodeOffset));

    uint32_t gate = 0;
    (void)ioctl(fd, ZORIO_GET_STEP_GATE, &gate);  // a gate that can not be read counts as open
    return gate == 0 ? 1 : 0;
}

int resetPortMultiplier(unsigned long group) {
    puts("update the firmware success, now reset the jmb321!\r");
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
