#include "vboard/kernel/tool_process.h"

#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <sys/mman.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <utility>

#include "vboard/kernel/program_check.h"
#include "vboard/wire.h"

namespace vboard {

namespace {

// Both ends of a channel for what the tool says; ours never waits.
struct Channel {
    host::Descriptor ours;
    host::Descriptor tools;
};

Channel openPipe() {
    host::Pipe pipe = host::openPipe();
    return {std::move(pipe.reader), std::move(pipe.writer)};
}

Channel openFile() {
    host::Descriptor file(host::checked(memfd_create("output", MFD_CLOEXEC), "memfd_create"));
    host::Descriptor ours(host::checked(fcntl(file.get(), F_DUPFD_CLOEXEC, 0), "fcntl"));
    return {std::move(ours), std::move(file)};
}

Channel openTerminal() {
    termios raw = {};
    cfmakeraw(&raw);
    int ends[2];
    (void)host::checked(openpty(&ends[0], &ends[1], nullptr, &raw, nullptr), "openpty");
    Channel channel = {host::Descriptor(ends[0]), host::Descriptor(ends[1])};
    (void)host::checked(fcntl(ends[0], F_SETFD, FD_CLOEXEC), "fcntl");
    (void)host::checked(fcntl(ends[1], F_SETFD, FD_CLOEXEC), "fcntl");
    (void)host::checked(fcntl(ends[0], F_SETFL, O_NONBLOCK), "fcntl");
    return channel;
}

Channel openOutput(OutputKind kind) {
    switch (kind) {
        case OutputKind::file:
            return openFile();
        case OutputKind::terminal:
            return openTerminal();
        default:
            return openPipe();
    }
}

// qemu-user is the host's program and must not get the library: it passes the setting on to the tool. Others
// (a debugger, a tracer) pass on what they have.
bool isStartedByQemu(const ToolCommand& command) {
    return !command.emulator.empty() &&
           std::filesystem::path(command.emulator.front()).filename().string().starts_with("qemu-");
}

// Only what keeps a run the same everywhere, and what sanitizers and coverage need of the host. The tool has
// no heap and ends while its threads sleep: a leak check of it finds nothing and complains of the sleepers,
// now and then.
std::vector<std::string> environmentFor(const ToolCommand& command, int connection) {
    std::vector<std::string> environment = {
        "TZ=UTC0", "LSAN_OPTIONS=detect_leaks=0",
        (isStartedByQemu(command) ? "QEMU_SET_ENV=LD_PRELOAD=" : "LD_PRELOAD=") + command.preload,
        std::string(wire::connectionVariable) + '=' + std::to_string(connection)};
    for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "QEMU_LD_PREFIX"}) {
        if (const char* value = std::getenv(name)) {
            environment.push_back(std::string(name) + "=" + value);
        }
    }
#ifdef VBOARD_HOST_FOLDER
    environment.push_back(std::string(wire::hostFolderVariable) + "=" + VBOARD_HOST_FOLDER);
#endif
    // Of two with one name the C library takes the first.
    environment.insert(environment.begin(), command.environment.begin(), command.environment.end());
    return environment;
}

std::string readAll(int descriptor) {
    std::string text;
    char buffer[4096];
    ssize_t count = 0;
    while ((count = read(descriptor, buffer, sizeof buffer)) > 0) {
        text.append(buffer, static_cast<std::size_t>(count));
    }
    return text;  // nothing more for now, or the other end is closed (a terminal says EIO)
}

}  // namespace

ToolProcess::ToolProcess(const ToolCommand& command, int connection) : kind_(command.standardOutput) {
    requireSameMachine(command.program, command.preload);
    Channel output = openOutput(command.standardOutput);
    Channel errors = openPipe();
    const host::Descriptor nothing(host::checked(open("/dev/null", O_RDWR | O_CLOEXEC), "/dev/null"));
    host::Command start;
    start.words = command.emulator;
    start.words.push_back(command.program);
    start.words.insert(start.words.end(), command.arguments.begin(), command.arguments.end());
    start.searchPath = !command.emulator.empty();  // the file that was looked at, wherever PATH may lead
    start.environment = environmentFor(command, connection);
    start.input = nothing.get();
    start.output = output.tools.get();
    start.errors = command.mergeErrors ? output.tools.get() : errors.tools.get();
    start.inherited = {connection};
    start.ownGroup = true;
    start.endsWithParent = true;
    start.complaint = "vboard: can not start " + start.words.front();
    child_.emplace(start);
    output_ = std::move(output.ours);
    errors_ = std::move(errors.ours);
}

std::string ToolProcess::takeOutput() {
    if (kind_ != OutputKind::file) {
        return readAll(output_.get());
    }
    // The file's offset is the tool's: look from our own place.
    std::string text;
    char buffer[4096];
    ssize_t count = 0;
    while ((count = pread(output_.get(), buffer, sizeof buffer, position_)) > 0) {
        text.append(buffer, static_cast<std::size_t>(count));
        position_ += count;
    }
    return text;
}

std::string ToolProcess::takeErrors() {
    return readAll(errors_.get());
}

void ToolProcess::kill() {
    child_->signal(SIGKILL);
}

int ToolProcess::wait() {
    return child_->wait();
}

}  // namespace vboard
