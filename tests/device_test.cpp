// The rules of the virtual board's devices, asked by hand and not by the tool: what a device must not do
// shows here, for the tool never asks for it.

#include <fcntl.h>
#include <linux/hdreg.h>

#include <utility>

#include "r8/contract/ata_identity.h"
#include "r8/contract/little_endian.h"
#include "r8/contract/rs485_frames.h"
#include "tests/tool_runs.h"
#include "vboard/kernel/system_calls.h"

using namespace std::chrono_literals;
using vboard::VirtualBoard;
using vboard::wire::Call;

using Bytes = std::vector<std::uint8_t>;

namespace {

// As a request carries them, each with its NUL.
Bytes texts(const std::vector<std::string>& words) {
    Bytes bytes;
    for (const std::string& word : words) {
        bytes.insert(bytes.end(), word.c_str(), word.c_str() + word.size() + 1);
    }
    return bytes;
}

// A serial line as the far ends expect it, but for the control modes.
void setUp(vboard::SerialLine& line, tcflag_t control = CS8 | CREAD) {
    cfmakeraw(&line.attributes);
    line.attributes.c_cflag = control;
    (void)cfsetospeed(&line.attributes, B9600);
}

// A board that is switched on, with a process that asks its kernel.
struct Bench {
    explicit Bench(VirtualBoard& board) { board.plugInto(machine); }

    vboard::wire::Reply ask(Call call, int descriptor, std::vector<std::int64_t> arguments,
                            const Bytes& data) {
        vboard::wire::Request request = {};
        request.call = call;
        request.descriptor = descriptor;
        std::copy(arguments.begin(), arguments.end(), request.arguments);
        request.size = static_cast<std::uint32_t>(data.size());
        std::copy(data.begin(), data.end(), request.data);
        vboard::wire::Reply reply = {};
        entry = {};
        (void)kernel.perform(process, request, reply, entry);
        return reply;
    }
    int open(const std::string& path) {
        return static_cast<int>(ask(Call::open, -1, {O_RDWR}, texts({path})).result);
    }
    vboard::wire::Reply ioctl(int descriptor, unsigned code, std::int64_t value, const Bytes& data) {
        return ask(Call::ioctl, descriptor, {code, value}, data);
    }
    // What comes in on an open line until nothing happens any more.
    Bytes readAll(int descriptor) {
        while (machine.clock.hasEvents()) {
            machine.clock.advance();
        }
        const auto reply = ask(Call::read, descriptor, {4096}, {});
        return {reply.data, reply.data + reply.size};
    }

    vboard::Machine machine;
    vboard::Faults faults{{}};
    vboard::SystemCalls kernel{machine, faults, true};
    vboard::Process process;
    vboard::TraceEntry entry;
};

}  // namespace

TEST(Devices, ARequestIsAnsweredInExactlyItsShape) {
    VirtualBoard board("pm-update");
    Bench bench(board);
    const auto isKnown = [&bench](int node, const ControlRequest& request, std::size_t bytes) {
        return bench.ioctl(node, request.code, 0, Bytes(bytes)).error != ENOTTY && !bench.entry.refused;
    };
    const struct {
        const char* path;
        std::span<const ControlRequest> requests;
    } nodes[] = {{"/dev/zorio", controlRequests}, {"/dev/rtc0", vboard::clockRequests}};
    for (const auto& [path, requests] : nodes) {
        const int node = bench.open(path);
        for (const ControlRequest& request : requests) {
            EXPECT_TRUE(isKnown(node, request, request.bytes)) << request.name;
            EXPECT_FALSE(isKnown(node, request, request.bytes + 1U)) << request.name;
            EXPECT_FALSE(request.bytes > 0 && isKnown(node, request, request.bytes - 1U)) << request.name;
            EXPECT_FALSE(request.bytes > 1 && isKnown(node, request, 0)) << request.name;
            (void)bench.ask(Call::ioctl, node, {request.code, 0, vboard::wire::withoutShape}, {});
            EXPECT_TRUE(bench.entry.refused) << request.name;
            EXPECT_EQ(bench.ioctl(node, request.code, 0, Bytes(request.bytes, 1)).size,
                      request.argument == ArgumentKind::fromDriver ? request.bytes : 0)
                << request.name;
        }
    }
    const int drive = bench.open("/dev/sda");
    for (const ControlRequest& request : vboard::driveRequests) {
        EXPECT_FALSE(isKnown(drive, request, request.bytes - 1U)) << request.name;
    }
    EXPECT_FALSE(isKnown(drive, controlRequests[0], 0)) << "a request of another device";
}

// A record of ATA registers as the driver takes it: control word, data, target, command, address.
static Bytes pmRecordOf(std::uint16_t control, PmAccessMode mode, std::uint8_t target,
                        std::uint32_t address) {
    Bytes record(pmprwRecordBytes);
    record[pmRecord::controlLow] = static_cast<std::uint8_t>(control);
    record[pmRecord::controlHigh] = static_cast<std::uint8_t>(control >> 8);
    record[pmRecord::target] = static_cast<std::uint8_t>(pmRecord::targetBit | target);
    record[pmRecord::command] = static_cast<std::uint8_t>(mode);
    putLittleEndian32(record.data() + pmRecord::address, address);
    return record;
}

TEST(Devices, APortMultiplierTakesOnlyAWholeRecord) {
    VirtualBoard board("pm-update");
    Bench bench(board);
    const int drive = bench.open("/dev/sda");
    const Bytes good[] = {
        pmRecordOf(pmControl::readRegister, PmAccessMode::registerRead, pmControlPort, pmRegister::presence),
        pmRecordOf(pmControl::readStatus, PmAccessMode::spiTransfer, 0, 0),
    };
    for (const Bytes& record : good) {
        EXPECT_EQ(bench.ioctl(drive, pmprwRequest, 0, record).error, 0);
        for (std::size_t offset = 0; offset < record.size(); ++offset) {
            const bool isFree = offset - pmRecord::data < 4 ||
                                (offset - pmRecord::address < 4 && record == good[1]);  // of no register
            Bytes wrong = record;
            wrong[offset] ^= 0x40;
            EXPECT_EQ(bench.ioctl(drive, pmprwRequest, 0, wrong).error, isFree ? 0 : EINVAL) << offset;
        }
    }
}

// Set up as the test device expects it, and each way to be wrong.
TEST(Devices, TheBusNeedsItsSwitchesAndItsFormat) {
    const Bytes frame(std::begin(Rs485TestFrames[0]), std::end(Rs485TestFrames[0]));
    const struct {
        const char* what;
        bool transmitter, receiver;
        tcflag_t control;
        std::size_t frames;
        Bytes read;
    } cases[] = {
        {"right", true, true, CS8 | CREAD, 1, vboard::goodAnswer()},
        {"transmitter off", false, true, CS8 | CREAD, 0, {}},
        {"receiver off", true, false, CS8 | CREAD, 1, {}},
        {"receiver bit off", true, true, CS8, 1, {}},
    };
    for (const auto& row : cases) {
        VirtualBoard board = VirtualBoard::healthy();
        board.rs485.hearsItself = !row.receiver;
        setUp(board.rs485.line, row.control);
        Bench bench(board);
        const int control = bench.open("/dev/zorio");
        (void)bench.ioctl(control, ZORIO_RS485_TX_ENABLE, row.transmitter, {});
        (void)bench.ioctl(control, ZORIO_RS485_RX_ENABLE, row.receiver, {});
        const int port = bench.open("/dev/ttyS1");
        (void)bench.ask(Call::write, port, {}, frame);
        EXPECT_EQ(bench.readAll(port), row.read) << row.what;
        EXPECT_EQ(board.rs485.frames.size(), row.frames) << row.what;
    }
    for (const auto& [control, speed] : {std::pair<tcflag_t, speed_t>{CS8, B19200},
                                         {CS8, B4800},
                                         {CS7, B9600},
                                         {CS8 | PARENB, B9600},
                                         {CS8 | CSTOPB, B9600}}) {
        vboard::SerialLine line;
        line.attributes.c_cflag = control;
        (void)cfsetospeed(&line.attributes, speed);
        EXPECT_NE(line.arrivedAtOtherEnd(0x55), 0x55) << control << " " << speed;
    }
}

TEST(Devices, FarEndsHearGoodFramesOnly) {
    const struct {
        const char* path;
        Bytes frame;
        bool isGood;
    } cases[] = {
        {"/dev/ttyS3", {0xFE, 0x07, 0x30, 0x02, 0x00, 0x00, 0x37}, true},
        {"/dev/ttyS3", {0xFE, 0x07, 0x30, 0x02, 0x00, 0x00, 0x38}, false},  // sum
        {"/dev/ttyS3", {0xFE, 0x07, 0x31, 0x02, 0x00, 0x00, 0x38}, false},  // payload
        {"/dev/ttyS3", {0xFF, 0x07, 0x30, 0x02, 0x00, 0x00, 0x38}, false},  // start
        {"/dev/ttyS3", {0xFE, 0x06, 0x30, 0x02, 0x00, 0x36}, false},        // length
        {"/dev/ttyS1", {0xB5, 0x01, 0x07, 0x01, 0x00, 0x00, 0x00, 0xBE}, true},
        {"/dev/ttyS1", {0xB5, 0x01, 0x07, 0x01, 0x00, 0x00, 0x00, 0xBF}, false},  // sum
        {"/dev/ttyS1", {0xB5, 0x02, 0x07, 0x01, 0x00, 0x00, 0x00, 0xBF}, false},  // address
        {"/dev/ttyS1", {0xB6, 0x01, 0x07, 0x01, 0x00, 0x00, 0x00, 0xBF}, false},  // start
    };
    for (const auto& [path, frame, isGood] : cases) {
        VirtualBoard board = VirtualBoard::healthy();
        setUp(board.panel.line);
        setUp(board.rs485.line);
        Bench bench(board);
        (void)bench.ioctl(bench.open("/dev/zorio"), ZORIO_RS485_TX_ENABLE, 1, {});
        const int port = bench.open(path);
        (void)bench.ask(Call::write, port, {}, frame);
        (void)bench.readAll(port);
        EXPECT_EQ(board.panel.frames.size() + board.rs485.frames.size(), isGood ? 1U : 0U)
            << path << " " << vboard::hexText(frame.data(), frame.size());
        EXPECT_EQ(board.panel.badFrames + board.rs485.badFrames == 0, isGood);
    }
}

TEST(Devices, ASerialPortKeepsWhatItIsNotToldToDrop) {
    VirtualBoard board = VirtualBoard::healthy();
    vboard::SerialLine& line = board.panel.line;
    setUp(line);
    line.waitingAtOpen = {1, 2, 3};
    Bench bench(board);
    int sent = 0;
    line.onByteSent = [&sent](std::uint8_t) { ++sent; };
    for (const int queue : {TCIFLUSH, TCOFLUSH, TCIOFLUSH}) {
        const int port = bench.open("/dev/ttyS3");
        (void)bench.ask(Call::write, port, {}, Bytes(10, 0x55));
        (void)bench.ask(Call::tcflush, port, {queue}, {});
        EXPECT_EQ(bench.readAll(port), queue == TCOFLUSH ? line.waitingAtOpen : Bytes()) << queue;
        EXPECT_EQ(std::exchange(sent, 0), queue == TCIFLUSH ? 10 : 1) << "one is on the line already";
        (void)bench.ask(Call::close, port, {}, {});
    }
    (void)bench.ask(Call::close, bench.open("/dev/ttyS3"), {}, {});
    const int again = bench.open("/dev/ttyS3");
    EXPECT_EQ(bench.readAll(again), line.waitingAtOpen) << "what nobody read went with the last close";
    line.receive('a');
    line.attributes.c_lflag |= ICANON;
    EXPECT_EQ(bench.readAll(again), Bytes()) << "no line yet";
    termios tooFast = line.attributes;
    (void)cfsetospeed(&tooFast, B4000000);
    EXPECT_EQ(line.setAttributes(tooFast).error, EINVAL);
}

TEST(Devices, WhatTheKernelWouldRefuseIsRefused) {
    VirtualBoard board = VirtualBoard::healthy();
    board.operatorInput.types = {{0s, "a\n"}, {0s, "b\n"}};
    Bench bench(board);
    const auto mount = [&bench](const char* type) {
        return bench.ask(Call::mount, -1, {0}, texts({"/dev/msa1", "/mnt", type})).error;
    };
    const auto unmount = [&bench] { return bench.ask(Call::umount, -1, {}, texts({"/mnt"})).error; };
    EXPECT_EQ(mount("ext4"), EINVAL);
    EXPECT_EQ(mount("vfat"), 0);
    EXPECT_EQ(mount("vfat"), EBUSY);
    EXPECT_EQ(unmount(), 0);
    EXPECT_EQ(unmount(), EINVAL);
    for (const auto& [id, status] : {std::pair("417", 0), {"417", 1}}) {  // it is gone then
        const std::string command = std::string("kill -9 ") + id + "\n";
        EXPECT_EQ(bench.ask(Call::system, -1, {}, texts({command})).result, status << 8);
    }
    for (const int flags : {O_WRONLY, O_RDWR | O_NONBLOCK}) {
        EXPECT_EQ(bench.ask(Call::open, -1, {flags}, texts({"/var/r8.fifo"})).error, EINVAL);
    }
    Bytes registers(driveCommandHeaderBytes + ataSectorBytes);
    registers[0] = ataIdentifyDevice;
    for (const int sectors : {0, 1, 2}) {
        registers[3] = static_cast<std::uint8_t>(sectors);
        EXPECT_EQ(bench.ioctl(bench.open("/dev/sda"), HDIO_DRIVE_CMD, 0, registers).error,
                  sectors == 1 ? 0 : EIO);
    }
    (void)bench.ioctl(bench.open("/dev/zorio"), ZORIO_RS485_TX_ENABLE, 0x7FFC0010, {});
    EXPECT_FALSE(board.rs485Switches.transmitterOn) << "switched on by the address of a 1";

    while (bench.machine.clock.hasEvents()) {
        bench.machine.clock.advance();
    }
    vboard::OpenFile input;
    std::uint8_t typed[8];
    EXPECT_EQ(board.operatorInput.read(input, typed).value, 2) << "a terminal hands out line by line";
}
