#include "vboard/kernel/tool_process.h"

#include <errno.h>
#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "vboard/kernel/program_check.h"
#include "vboard/wire.h"

namespace vboard {

namespace {

constexpr int startFailureStatus = 127;

// Every host call that must work goes through here.
int checked(int result, const char* what) {
    if (result == -1) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

struct Channel {
    int ours = -1;
    int tools = -1;
};

Channel openPipe() {
    int ends[2];
    (void)checked(pipe2(ends, O_CLOEXEC), "pipe");
    (void)checked(fcntl(ends[0], F_SETFL, O_NONBLOCK), "fcntl");
    return {ends[0], ends[1]};
}

Channel openFile() {
    const int file = checked(memfd_create("output", MFD_CLOEXEC), "memfd_create");
    return {checked(fcntl(file, F_DUPFD_CLOEXEC, 0), "fcntl"), file};
}

Channel openTerminal() {
    termios raw = {};
    cfmakeraw(&raw);
    Channel channel;
    (void)checked(openpty(&channel.ours, &channel.tools, nullptr, &raw, nullptr), "openpty");
    (void)checked(fcntl(channel.ours, F_SETFD, FD_CLOEXEC), "fcntl");
    (void)checked(fcntl(channel.tools, F_SETFD, FD_CLOEXEC), "fcntl");
    (void)checked(fcntl(channel.ours, F_SETFL, O_NONBLOCK), "fcntl");
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
        std::string(wire::connectionVariable) + "=" + std::to_string(connection)};
    for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "QEMU_LD_PREFIX"}) {
        if (const char* value = std::getenv(name)) {
            environment.push_back(std::string(name) + "=" + value);
        }
    }
#ifdef VBOARD_HOST_FOLDER
    environment.push_back(std::string(wire::hostFolderVariable) + "=" + VBOARD_HOST_FOLDER);
#endif
    environment.insert(environment.end(), command.environment.begin(), command.environment.end());
    return environment;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
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
    refuseWhatWouldEscape(command.program, command.preload);
    const Channel output = openOutput(command.standardOutput);
    const Channel errors = openPipe();
    std::vector<std::string> words = command.emulator;
    words.push_back(command.program);
    words.insert(words.end(), command.arguments.begin(), command.arguments.end());
    std::vector<std::string> variables = environmentFor(command, connection);
    const std::vector<char*> argv = pointers(words);
    const std::vector<char*> environment = pointers(variables);

    pid_ = checked(fork(), "fork");
    if (pid_ == 0) {
        (void)setpgid(0, 0);
        (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
        (void)signal(SIGPIPE, SIG_DFL);  // whatever we do with it ourselves
        const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
        (void)dup2(nothing, STDIN_FILENO);
        (void)dup2(output.tools, STDOUT_FILENO);
        (void)dup2(command.mergeErrors ? output.tools : errors.tools, STDERR_FILENO);
        (void)fcntl(connection, F_SETFD, 0);
        // The file that was looked at, wherever PATH may lead.
        (void)(command.emulator.empty() ? execve : execvpe)(argv[0], argv.data(), environment.data());
        dprintf(STDERR_FILENO, "vboard: can not start %s: %s\n", argv[0], strerror(errno));
        _exit(startFailureStatus);
    }
    (void)setpgid(pid_, pid_);  // whichever of the two comes first
    output_ = output.ours;
    errors_ = errors.ours;
    (void)close(output.tools);
    (void)close(errors.tools);
}

ToolProcess::~ToolProcess() {
    kill();
    (void)wait();
    (void)close(output_);
    (void)close(errors_);
}

std::string ToolProcess::takeOutput() {
    if (kind_ != OutputKind::file) {
        return readAll(output_);
    }
    // The file's offset is the tool's: look from our own place.
    std::string text;
    char buffer[4096];
    ssize_t count = 0;
    while ((count = pread(output_, buffer, sizeof buffer, position_)) > 0) {
        text.append(buffer, static_cast<std::size_t>(count));
        position_ += count;
    }
    return text;
}

std::string ToolProcess::takeErrors() {
    return readAll(errors_);
}

void ToolProcess::kill() {
    if (pid_ != -1) {
        (void)::kill(-pid_, SIGKILL);  // gone already is as good
    }
}

int ToolProcess::wait() {
    if (pid_ != -1) {
        while (waitpid(pid_, &status_, 0) == -1 && errno == EINTR) {
        }
        pid_ = -1;
    }
    return status_;
}

}  // namespace vboard
