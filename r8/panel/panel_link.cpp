#include "r8/panel/panel_link.h"

#include <errno.h>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include "r8/print.h"
#include "r8/serial/deadline.h"
#include "r8/serial/serial_port.h"

namespace {

constexpr int queryIndex = 2;
constexpr int command4Index = 4;
constexpr int heartbeatIndex = 6;
constexpr long queryTimeoutSeconds = 10;
constexpr unsigned heartbeatSeconds = 10;
constexpr unsigned sendPollMicroseconds = 1000;

constexpr PanelCommand command(uint8_t code, uint8_t argument = 0) {
    return {4, {panelPayloadStart, code, argument}};
}

}  // namespace

PanelCommand PanelCommandTable[panelCommandCount] = {
    command(0x01), command(0x01, 0x01), command(0x02), command(0x03), command(0x04),
    command(0x05), command(0x06),       command(0x07), command(0x08), command(0x09),
    command(0x0A), command(0x0B),       command(0x0C), command(0x0D), command(0x0E),
    command(0x40), command(0x10),       command(0x11), command(0x12), command(0x13),
};

std::atomic<int> panelFd{-1};
pthread_t panelHbThreadId;

namespace {

std::atomic<int> sendsInFlight{0};

// Start, length and checksum around a payload; returns the frame's length.
int frameCommand(const uint8_t* payload, int length, uint8_t* frame) {
    frame[0] = panelCommandStart;
    frame[1] = static_cast<uint8_t>(length + panelFramingBytes);
    uint8_t sum = static_cast<uint8_t>(frame[0] + frame[1]);
    for (int i = 0; i < length; ++i) {
        frame[2 + i] = payload[i];
        sum = static_cast<uint8_t>(sum + payload[i]);
    }
    frame[2 + length] = sum;
    return length + panelFramingBytes;
}

void sendCommand(int index) {
    uint8_t frame[panelFrameBytes];
    int length = 0;
    BuildPanelFrame(index, frame, &length);
    (void)WritePanel(frame, static_cast<size_t>(length));
}

// A port while one frame is read from it.
struct FrameSource {
    int fd;
    bool failed = false;  // it brought no byte: its time was up, or waiting or reading failed
};

bool readByte(FrameSource& source, Deadline deadline, uint8_t* byte) {
    source.failed = waitReadable(source.fd, deadline) <= 0 || read(source.fd, byte, 1) != 1;
    return !source.failed;
}

// Drops bytes until a start byte; the deadline is then what its wait was given, for the rest of the frame.
bool huntStart(FrameSource& source, long seconds, long microseconds, Deadline* deadline) {
    uint8_t byte = 0;
    while (byte != panelEventStart) {
        *deadline = seconds == 0 && microseconds == 0 ? noDeadline : deadlineIn(seconds, microseconds);
        if (!readByte(source, *deadline, &byte)) {
            return false;
        }
    }
    return true;
}

// Data and checksum of a frame whose start, length and type are read.
int readData(FrameSource& source, Deadline deadline, uint8_t length, uint8_t type) {
    uint8_t sum = static_cast<uint8_t>(panelEventStart + length + type);
    uint32_t value = type;
    uint8_t byte = 0;
    for (int i = panelLeastEventBytes; i < length; ++i) {
        if (!readByte(source, deadline, &byte)) {
            return 0;
        }
        sum = static_cast<uint8_t>(sum + byte);
        value = value << 8 | byte;
    }
    const bool valid = readByte(source, deadline, &byte) && byte == sum;
    return valid ? static_cast<int>(value) : 0;
}

int readFrame(FrameSource& source, long seconds, long microseconds) {
    for (;;) {
        Deadline deadline = noDeadline;
        uint8_t length = 0;
        uint8_t type = 0;
        if (!huntStart(source, seconds, microseconds, &deadline) || !readByte(source, deadline, &length)) {
            return 0;
        }
        if (length < panelLeastEventBytes || length > panelMostEventBytes ||
            !readByte(source, deadline, &type)) {
            return 0;
        }
        if (isPanelEventType(type)) {
            return readData(source, deadline, length, type);
        }
        if (type == panelEventStart) {
            return 0;
        }
    }
}

void* PanelHbThread(void*) {
    for (;;) {
        sleep(heartbeatSeconds);
        (void)SendPanelHeartbeat();
    }
}

}  // namespace

int OpenPanelPort() {
    const int fd = open("/dev/ttyS3", O_RDWR);
    if (fd == -1) {
        return -1;
    }
    (void)SetSerialBaud(fd, B9600);  // a port that can't be set up shows as a panel that does not answer
    (void)SetSerialRawMode(fd);
    (void)tcflush(fd, TCIOFLUSH);
    return fd;
}

// The sender counts itself before it looks at panelFd, the closer takes panelFd away before it looks at the
// count: one of them always sees the other.
void ClosePanelPort() {
    const int fd = panelFd.exchange(-1);
    if (fd == -1) {
        return;
    }
    while (sendsInFlight.load() != 0) {
        usleep(sendPollMicroseconds);
    }
    (void)close(fd);
}

ssize_t WritePanel(const void* buf, size_t len) {
    sendsInFlight.fetch_add(1);
    const int fd = panelFd.load();
    ssize_t written = -1;
    if (fd == -1) {
        errno = EBADF;
    } else {
        written = write(fd, buf, len);
    }
    sendsInFlight.fetch_sub(1);
    return written;
}

void BuildPanelFrame(int index, uint8_t* frame, int* frameLen) {
    const PanelCommand& entry = PanelCommandTable[index];
    *frameLen = frameCommand(entry.payload, entry.length, frame);
}

int ReadPanelFrame(int fd, long seconds, long microseconds, bool* portFailed) {
    FrameSource source = {fd};
    const int value = readFrame(source, seconds, microseconds);
    if (portFailed != nullptr) {
        *portFailed = source.failed;
    }
    return value;
}

int QueryPanel() {
    sendCommand(queryIndex);
    return ReadPanelFrame(panelFd, queryTimeoutSeconds, 0) & 0xFF;
}

int SendPanelCommand4(uint8_t arg) {
    PanelCommandTable[command4Index].payload[3] = arg;
    sendCommand(command4Index);
    return 1;
}

int SendPanelHeartbeat() {
    sendCommand(heartbeatIndex);
    return 1;
}

void SetAllPanelLamps(int fd, int mode) {
    if (mode != allLampsGreen && mode != allLampsRed) {
        return;
    }
    const uint8_t payload[] = {panelPayloadStart, panelLampsCommand, 0x00,
                               mode == allLampsGreen ? panelGreenLamps : panelRedLamps};
    uint8_t frame[panelFrameBytes];
    const int length = frameCommand(payload, sizeof payload, frame);
    (void)!write(fd, frame, static_cast<size_t>(length));
}

int StartPanelHbThread() {
    if (pthread_create(&panelHbThreadId, nullptr, PanelHbThread, nullptr) != 0) {
        print("can not creat HB thread\n");
        return -1;
    }
    return 0;
}
