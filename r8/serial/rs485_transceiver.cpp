#include "r8/serial/rs485_transceiver.h"

#include <errno.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "r8/board/control_device.h"
#include "r8/print.h"

namespace {

constexpr unsigned settleMicroseconds = 10 * 1000;

void switchTransceiver(unsigned request, int on) {
    const int fd = openControlDevice();
    if (fd == -1) {
        print("open ZORIO failed\n");
        return;
    }
    (void)ioctl(fd, request, static_cast<unsigned long>(on));  // a switch that failed shows in the exchange
    (void)close(fd);
}

}  // namespace

void SetRs485TxEnable(int on) {
    switchTransceiver(ZORIO_RS485_TX_ENABLE, on);
}

void SetRs485RxEnable(int on) {
    switchTransceiver(ZORIO_RS485_RX_ENABLE, on);
}

int WriteRs485Frame(int fd, const unsigned char* buf, size_t len) {
    SetRs485RxEnable(0);
    SetRs485TxEnable(1);
    usleep(settleMicroseconds);
    const ssize_t written = write(fd, buf, len);
    const int writeError = errno;
    (void)fdatasync(fd);  // terminals refuse it, and overwrite errno
    usleep(settleMicroseconds);
    if (written < 0) {
        if (writeError == EINTR) {
            print("errno = EINTR, error = %s\n", strerror(writeError));
        } else {
            print("write error: %s\n", strerror(writeError));
        }
        return -1;
    }
    SetRs485TxEnable(0);
    if (static_cast<size_t>(written) < len) {
        print("write RS485 error:[%s]\n", strerror(errno));
        return -1;
    }
    return static_cast<int>(written);
}
