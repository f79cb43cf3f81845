#include "r8/serial/serial_port.h"

#include <errno.h>
#include <string.h>

#include "r8/print.h"

namespace {

struct SerialBaud {
    unsigned rate;
    speed_t code;
};

constexpr SerialBaud SerialBaudTable[] = {
    {300, B300},   {600, B600},     {1200, B1200},   {2400, B2400},   {4800, B4800},
    {9600, B9600}, {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200},
};

constexpr tcflag_t SerialDataBitsTable[] = {CS5, CS6, CS7, CS8};
constexpr int dataBitsCount = sizeof SerialDataBitsTable / sizeof SerialDataBitsTable[0];

constexpr tcflag_t softwareFlowFlags = IXON | IXOFF | IXANY;

// A descriptor that is no terminal shows when the attributes are applied.
termios readAttributes(int fd) {
    termios attributes = {};
    (void)tcgetattr(fd, &attributes);
    return attributes;
}

int apply(int fd, const termios& attributes) {
    return tcsetattr(fd, TCSANOW, &attributes);
}

void setFlags(tcflag_t* field, tcflag_t flags, bool on) {
    *field = on ? *field | flags : *field & ~flags;
}

speed_t findSpeedCode(unsigned rate) {
    for (const SerialBaud& baud : SerialBaudTable) {
        if (baud.rate == rate) {
            return baud.code;
        }
    }
    print("invalide baudrate and set baudrate to default 9600\n");
    return B9600;
}

}  // namespace

void clearCookedFlags(termios* attributes) {
    setFlags(&attributes->c_lflag, ISIG | ICANON | ECHO | ECHOE, false);
    setFlags(&attributes->c_iflag, INLCR | IGNCR | ICRNL | IXON | IXOFF, false);
    setFlags(&attributes->c_oflag, OPOST, false);
}

int SetSerialRawMode(int fd) {
    termios attributes = readAttributes(fd);
    clearCookedFlags(&attributes);
    return apply(fd, attributes);
}

int SetSerialBaud(int fd, speed_t code) {
    termios attributes = readAttributes(fd);
    if (cfsetispeed(&attributes, code) == -1) {
        print("set input speed error: %d, %s\n", errno, strerror(errno));
    }
    if (cfsetospeed(&attributes, code) == -1) {
        print("set output speed error: %d, %s\n", errno, strerror(errno));
    }
    setFlags(&attributes.c_cflag, CLOCAL | CREAD, true);
    return apply(fd, attributes);
}

int SetSerialFlowControl(int fd, int kind, int on) {
    termios attributes = readAttributes(fd);
    if (kind == 0 || kind == 1) {
        setFlags(&attributes.c_iflag, softwareFlowFlags, kind == 1 && on != 0);
    }
    if (kind == 0 || kind == 2) {
        setFlags(&attributes.c_cflag, CRTSCTS, kind == 2 && on != 0);
    }
    return apply(fd, attributes);
}

int SetSerialParity(int fd, tcflag_t sizeBits, int twoStopBits, int parity) {
    if (twoStopBits < 0 || twoStopBits > 1 || parity < 0 || parity > 2) {
        return -1;
    }
    termios attributes = readAttributes(fd);
    setFlags(&attributes.c_cflag, CSIZE, false);
    setFlags(&attributes.c_cflag, sizeBits, true);
    setFlags(&attributes.c_cflag, CSTOPB, twoStopBits == 1);
    setFlags(&attributes.c_cflag, PARENB, parity != 0);
    setFlags(&attributes.c_iflag, INPCK, parity != 0);
    if (parity != 0) {
        setFlags(&attributes.c_cflag, PARODD, parity == 1);
    }
    return apply(fd, attributes);
}

int InitSerialPort(int fd, unsigned rate, int dataBitsIndex, int twoStopBits, int parity, int flowKind) {
    if (dataBitsIndex < 0 || dataBitsIndex >= dataBitsCount || tcdrain(fd) != 0) {
        return -1;
    }
    const speed_t code = findSpeedCode(rate);
    if (SetSerialRawMode(fd) == -1) {
        print("SetSerialRawMode error.fd = %d\n", fd);
        return -1;
    }
    if (SetSerialBaud(fd, code) == -1) {
        print("SetSerialBaud error.fd = %d\n", fd);
        return -1;
    }
    if (SetSerialFlowControl(fd, flowKind, 0) == -1) {
        print("SetSerialFlowControl error.fd = %d\n", fd);
        return -1;
    }
    if (SetSerialParity(fd, SerialDataBitsTable[dataBitsIndex], twoStopBits, parity) == -1) {
        print("SetSerialParity error.fd = %d\n", fd);
        return -1;
    }
    return 0;
}
