// The rules of the virtual board's devices, asked by hand and not by the tool: what a device must not do
// shows here, for the tool never asks for it.

#include <fcntl.h>

#include <numeric>

#include "r8/contract/little_endian.h"
#include "r8/contract/rs485_frames.h"
#include "tests/tool_runs.h"
#include "vboard/kernel/system_calls.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
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
