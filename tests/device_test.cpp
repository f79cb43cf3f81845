// The rules of the virtual board's devices, asked by hand and not by the tool: what a device must not do
// shows here, for the tool never asks for it.

#include <fcntl.h>

#include "r8/contract/little_endian.h"
#include "r8/contract/rs485_frames.h"
#include "tests/tool_runs.h"
#include "vboard/kernel/system_calls.h"

using namespace std::chrono_literals;
using vboard::VirtualBoard;
using vboard::wire::Call;

using Bytes = std::vector<std::uint8_t>;

namespace {

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
        Bytes text(path.begin(), path.end());
        text.push_back(0);
        return static_cast<int>(ask(Call::open, -1, {O_RDWR}, text).result);
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
        speed_t speed;
        std::size_t frames;
        Bytes read;
    } cases[] = {
        {"right", true, true, CS8 | CREAD, B9600, 1, vboard::goodAnswer()},
        {"transmitter off", false, true, CS8 | CREAD, B9600, 0, {}},
        {"receiver off", true, false, CS8 | CREAD, B9600, 1, {}},
        {"receiver bit off", true, true, CS8, B9600, 1, {}},
    };
    for (const auto& row : cases) {
        VirtualBoard board = VirtualBoard::healthy();
        board.rs485.hearsItself = false;
        cfmakeraw(&board.rs485.line.attributes);
        board.rs485.line.attributes.c_cflag = row.control;
        (void)cfsetospeed(&board.rs485.line.attributes, row.speed);
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

TEST(Devices, WhatCameBeforeTheOpeningWaitsUntilItIsFlushed) {
    VirtualBoard board = VirtualBoard::healthy();
    cfmakeraw(&board.panel.line.attributes);
    board.panel.line.waitingAtOpen = {1, 2, 3};
    for (const bool flushed : {false, true}) {
        Bench bench(board);
        const int port = bench.open("/dev/ttyS3");
        if (flushed) {
            (void)bench.ask(Call::tcflush, port, {TCIFLUSH}, {});
            EXPECT_FALSE(board.panel.line.readable());
        } else {
            EXPECT_EQ(bench.readAll(port), (Bytes{1, 2, 3}));
        }
    }
}
