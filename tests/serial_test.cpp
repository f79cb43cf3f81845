// The set-up of a serial port, as the terminal keeps it, and the waits that share one budget.

#include <errno.h>
#include <gtest/gtest.h>
#include <sys/select.h>
#include <termios.h>

#include <cstring>

#include "r8/serial/deadline.h"
#include "tests/tool_runs.h"

using vboard::VirtualBoard;

namespace {

constexpr tcflag_t rawInput = INLCR | IGNCR | ICRNL | IXON | IXOFF;
constexpr tcflag_t rawLocal = ISIG | ICANON | ECHO | ECHOE;
constexpr const char* unknownRate = "invalide baudrate and set baudrate to default 9600\n";

// A terminal with every flag and limit set that the set-up may touch, or must not.
termios everythingSet() {
    termios attributes = {};
    attributes.c_iflag = rawInput | IXANY | INPCK | IUTF8;
    attributes.c_oflag = OPOST | ONLCR;
    attributes.c_cflag = CS6 | CSTOPB | PARENB | PARODD | HUPCL | CRTSCTS;
    attributes.c_lflag = rawLocal | ECHOK | NOFLSH;
    attributes.c_cc[VMIN] = 7;
    attributes.c_cc[VTIME] = 3;
    (void)cfsetispeed(&attributes, B300);
    (void)cfsetospeed(&attributes, B300);
    return attributes;
}

struct Outcome {
    vboard::Run run;
    termios after;
};

Outcome setUp(const std::vector<std::string>& fields, const termios& before = everythingSet(),
              const std::vector<vboard::Fault>& faults = {}) {
    VirtualBoard board = VirtualBoard::healthy();
    board.rs485.line.attributes = before;
    board.settings.faults = faults;
    std::vector<std::string> arguments = fields;
    arguments.push_back("initSerialPort");
    vboard::Run run = runModule(board, arguments);
    return {std::move(run), board.rs485.line.attributes};
}

}  // namespace

TEST(SerialPort, EveryFormatLeavesExactlyItsOwnFlags) {
    constexpr tcflag_t sizes[] = {CS5, CS6, CS7, CS8};
    for (int code = 0; code < 4 * 2 * 3 * 4; ++code) {
        const int data = code % 4, stop = code / 4 % 2, parity = code / 8 % 3, flow = code / 24;
        const auto [run, after] =
            setUp({"dataBitsIndex=" + std::to_string(data), "twoStopBits=" + std::to_string(stop),
                   "parity=" + std::to_string(parity), "flowKind=" + std::to_string(flow)});
        termios expected = everythingSet();
        expected.c_iflag &= ~(rawInput | (flow < 2 ? IXANY : 0U) | (parity == 0 ? INPCK : 0U));
        expected.c_oflag &= ~static_cast<tcflag_t>(OPOST);
        expected.c_lflag &= ~rawLocal;
        expected.c_cflag = sizes[data] | (stop == 1 ? CSTOPB : 0) | (parity != 0 ? PARENB : 0) |
                           (parity != 2 ? PARODD : 0) | (flow == 0 || flow == 2 ? 0 : CRTSCTS) | HUPCL |
                           CLOCAL | CREAD;
        (void)cfsetispeed(&expected, B9600);
        (void)cfsetospeed(&expected, B9600);
        EXPECT_EQ(std::memcmp(&after, &expected, sizeof after), 0)
            << "data bits " << data << " stop " << stop << " parity " << parity << " flow " << flow;
        EXPECT_EQ(run.exitStatus(), 0);
        EXPECT_EQ(run.console(), "");
        EXPECT_EQ(run.requests("tcdrain").size(), 1U);
        EXPECT_EQ(run.requests("tcsetattr").size(), 4U);
        for (const vboard::TraceEntry& change : run.requests("tcsetattr")) {
            EXPECT_EQ(change.option, unsigned{TCSANOW});
        }
    }
}

TEST(SerialPort, EveryRateOfTheTableAndNoOther) {
    const std::pair<unsigned, speed_t> rates[] = {
        {300, B300},   {600, B600},       {1200, B1200},   {2400, B2400},   {4800, B4800},
        {9600, B9600}, {19200, B19200},   {38400, B38400}, {57600, B57600}, {0, 0},
        {1800, 0},     {115200, B115200}, {9601, 0},       {230400, 0},
    };
    for (const auto& [rate, code] : rates) {
        const auto [run, after] = setUp({"rate=" + std::to_string(rate)});
        EXPECT_EQ(cfgetospeed(&after), code == 0 ? B9600 : code) << rate;
        EXPECT_EQ(cfgetispeed(&after), cfgetospeed(&after)) << rate;
        EXPECT_EQ(run.console(), code == 0 ? unknownRate : "") << rate;
        EXPECT_EQ(run.exitStatus(), 0) << rate;
    }
}

TEST(SerialPort, AStepThatFailsIsNamedAndEndsTheSetUp) {
    const struct {
        std::vector<std::string> fields;
        std::vector<vboard::Fault> faults;
        const char* says;
        std::size_t applied;  // tcsetattr calls, the failing one included
    } cases[] = {
        {{"dataBitsIndex=-1"}, {}, "", 0},
        {{"dataBitsIndex=4"}, {}, "", 0},
        {{}, {{"tcdrain", "", 1}}, "", 0},
        {{}, {{"tcsetattr", "", 1}}, "SetSerialRawMode error.fd = 3\n", 1},
        {{}, {{"tcsetattr", "", 2}}, "SetSerialBaud error.fd = 3\n", 2},
        {{}, {{"tcsetattr", "", 3}}, "SetSerialFlowControl error.fd = 3\n", 3},
        {{}, {{"tcsetattr", "", 4}}, "SetSerialParity error.fd = 3\n", 4},
        {{"twoStopBits=2"}, {}, "SetSerialParity error.fd = 3\n", 3},
        {{"twoStopBits=-1"}, {}, "SetSerialParity error.fd = 3\n", 3},
        {{"parity=3"}, {}, "SetSerialParity error.fd = 3\n", 3},
        {{"parity=-1"}, {}, "SetSerialParity error.fd = 3\n", 3},
    };
    for (const auto& row : cases) {
        const auto [run, after] = setUp(row.fields, everythingSet(), row.faults);
        EXPECT_EQ(run.exitStatus(), EXIT_FAILURE);
        EXPECT_EQ(run.console(), row.says);
        EXPECT_EQ(run.requests("tcsetattr").size(), row.applied) << row.says;
        EXPECT_EQ((after.c_lflag & rawLocal) == 0, row.applied > 1) << row.says;
        EXPECT_EQ(after.c_cflag & (CSIZE | CSTOPB | PARENB), CS6 | CSTOPB | PARENB) << row.says;
    }
}

TEST(SerialPort, ADescriptorBeyondWhatASetHoldsIsNoneToWaitFor) {
    for (const int descriptor : {-1, FD_SETSIZE}) {
        errno = 0;
        EXPECT_EQ(waitReadable(descriptor, deadlineIn(0, 0)), -1);
        EXPECT_EQ(errno, EBADF);
    }
}
