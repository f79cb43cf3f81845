#include "station/link/board_restart.h"

#include <fcntl.h>
#include <poll.h>

#include <chrono>

#include "station/link/time_limit.h"
#include "station/link/tool_process.h"

namespace station {

namespace {

constexpr double askSeconds = 15;  // of one call: ssh's own limit for a connection is 10 s
constexpr int pauseMilliseconds = 250;
constexpr std::size_t bootIdBytes = 36;
constexpr const char* program = "cat /proc/sys/kernel/random/boot_id";

bool isBootId(std::string_view text) {
    return text.size() == bootIdBytes &&
           text.find_first_not_of("0123456789abcdef-") == std::string_view::npos;
}

// False: the station was told to stop.
bool pause() {
    const host::Descriptor signals = openStopSignals();
    pollfd polled = {signals.get(), POLLIN, 0};
    return poll(&polled, 1, pauseMilliseconds) != 1;
}

}  // namespace

BootAnswer askBootId(const BoardAddress& board) {
    const SshCall call(board, program, {});
    const host::Descriptor nothing(host::checked(open("/dev/null", O_RDONLY | O_CLOEXEC), "/dev/null"));
    std::string said;
    ToolStart start;
    start.command = call.words();
    start.input = nothing.get();
    start.mustEnd = [limit = TimeLimit(askSeconds)] { return limit.isOver(); };
    StreamHandlers handlers;
    handlers.records = [&said](std::string_view bytes) { said += bytes.substr(0, 2 * bootIdBytes); };
    handlers.console = handlers.errors = [](std::string_view) {};
    handlers.tick = [] {};
    const ToolEnd end = superviseTool(start, handlers);
    const std::string id = said.substr(0, said.find('\n'));
    return {end.exitStatus == 0 && isBootId(id) ? id : "", end.interrupted};
}

RestartAnswer waitForRestart(const BoardAddress& board, const std::string& bootId, double limitSeconds) {
    const auto begin = std::chrono::steady_clock::now();
    const TimeLimit limit(limitSeconds);
    while (!limit.isOver()) {
        const BootAnswer now = pause() ? askBootId(board) : BootAnswer{"", true};
        if (now.stopped) {
            return {std::nullopt, true};
        }
        if (!now.id.empty() && now.id != bootId) {
            const auto passed = std::chrono::steady_clock::now() - begin;
            return {std::chrono::duration_cast<std::chrono::seconds>(passed).count(), false};
        }
    }
    return {};
}

}  // namespace station
