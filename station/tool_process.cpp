#include "tool_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <stdexcept>
#include <system_error>

extern char** environ;

namespace station {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int pipeBytes =
    1024 * 1024;  // the most that any user may ask for: a stopped terminal loses nothing
constexpr milliseconds tickTime{250};
constexpr milliseconds graceTime{2000};

void check(bool fine, const std::string& what) {
    if (!fine) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

sigset_t stopSignals() {
    sigset_t set;
    (void)sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        (void)sigaddset(&set, signal);
    }
    return set;
}

Descriptor openStopSignals() {
    const sigset_t set = stopSignals();
    Descriptor signals(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
    check(signals.fd >= 0, "signalfd");
    return signals;
}

void makePipeAt(const std::string& path) {
    if (mkfifo(path.c_str(), 0600) == 0) {
        return;
    }
    check(errno == EEXIST, path);
    struct stat status = {};
    check(lstat(path.c_str(), &status) == 0, path);
    if (!S_ISFIFO(status.st_mode)) {
        throw PipeRefused(path + ": something else lies where the report pipe belongs; it is left alone");
    }
}

bool hasReader(const std::string& path) {
    const Descriptor writer(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    check(writer.fd >= 0 || errno == ENXIO, path);
    return writer.fd >= 0;
}

// Without a writer a read gives the end of the file, with a silent one EAGAIN.
bool hasWriter(int fd) {
    char byte;
    return read(fd, &byte, 1) != 0;
}

struct OutputPipe {
    Descriptor readEnd;
    Descriptor writeEnd;

    OutputPipe() {
        std::array<int, 2> ends;
        check(pipe2(ends.data(), O_CLOEXEC) == 0, "pipe");
        readEnd = Descriptor(ends[0]);
        writeEnd = Descriptor(ends[1]);
        check(fcntl(ends[0], F_SETFL, O_NONBLOCK) == 0, "pipe");
        (void)fcntl(ends[0], F_SETPIPE_SZ, pipeBytes);  // less room serves as well, as long as we keep up
    }
};

pid_t spawnTool(const std::vector<std::string>& command, int output, int errors) {
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));  // exec's type; it only reads
    }
    arguments.push_back(nullptr);

    sigset_t none;
    sigset_t pipeSignal;
    (void)sigemptyset(&none);
    (void)sigemptyset(&pipeSignal);
    (void)sigaddset(&pipeSignal, SIGPIPE);
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_t actions;
    (void)posix_spawnattr_init(&attributes);
    (void)posix_spawnattr_setsigmask(&attributes, &none);
    (void)posix_spawnattr_setsigdefault(&attributes, &pipeSignal);
    (void)posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    (void)posix_spawn_file_actions_init(&actions);
    (void)posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    (void)posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
    pid_t child = -1;
    errno = posix_spawnp(&child, command[0].c_str(), &actions, &attributes, arguments.data(), environ);
    const int error = errno;
    (void)posix_spawn_file_actions_destroy(&actions);
    (void)posix_spawnattr_destroy(&attributes);
    errno = error;
    check(error == 0, command[0]);
    return child;
}

enum class Read { more, empty, end };

// One read, handed on. Small enough to come back to the other pipes soon, and a full pipe needs few of them.
Read passOn(int fd, const std::function<void(std::string_view)>& handler) {
    static std::array<char, 64 * 1024> buffer;
    const ssize_t length = read(fd, buffer.data(), buffer.size());
    if (length > 0) {
        handler({buffer.data(), static_cast<size_t>(length)});
        return Read::more;
    }
    return length < 0 && (errno == EAGAIN || errno == EINTR) ? Read::empty : Read::end;
}

void drain(int fd, const std::function<void(std::string_view)>& handler) {
    while (passOn(fd, handler) == Read::more) {
    }
}

// Ends a tool that has to go: asks first.
struct ToolStopper {
    pid_t child;
    std::optional<Clock::time_point> killAt;

    void stop() {
        (void)kill(child, killAt ? SIGKILL : SIGTERM);  // not reaped yet, so the id is still the tool's
        killAt = killAt.value_or(Clock::now() + graceTime);
    }
};

void readStopSignals(int fd) {
    signalfd_siginfo info;
    while (read(fd, &info, sizeof info) > 0) {
    }
}

int waitTime(Clock::time_point until) {
    const auto left = std::chrono::ceil<milliseconds>(until - Clock::now());
    return static_cast<int>(std::clamp(left, milliseconds{0}, tickTime).count());
}

ToolEnd reap(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    ToolEnd end;
    if (WIFSIGNALED(status)) {
        end.signal = WTERMSIG(status);
    } else {
        end.exitStatus = WEXITSTATUS(status);
    }
    return end;
}

// A pipe whose writers are gone is no longer asked: it would wake us without end.
void servePipe(pollfd& entry, const std::function<void(std::string_view)>& handler) {
    if (entry.revents != 0 && passOn(entry.fd, handler) == Read::end) {
        entry.fd = -1;
    }
}

}  // namespace

void takeOverSignals() {
    const sigset_t set = stopSignals();
    (void)sigprocmask(SIG_BLOCK, &set, nullptr);
    (void)signal(SIGPIPE, SIG_IGN);
}

void giveBackSignals() {
    const sigset_t set = stopSignals();
    (void)sigprocmask(SIG_UNBLOCK, &set, nullptr);
}

ReportPipe openReportPipe(const std::string& path) {
    makePipeAt(path);
    if (hasReader(path)) {
        throw PipeRefused(path + ": somebody reads this pipe already, another station perhaps");
    }
    Descriptor reader(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    check(reader.fd >= 0, path);
    if (flock(reader.fd, LOCK_EX | LOCK_NB) != 0) {  // two stations that started in the same moment
        throw PipeRefused(path + ": another station reads this pipe");
    }
    if (hasWriter(reader.fd)) {
        throw PipeRefused(path + ": a tool from before still writes to this pipe; wait until it has ended");
    }
    (void)fcntl(reader.fd, F_SETPIPE_SZ, pipeBytes);
    Descriptor writer(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    check(writer.fd >= 0, path);
    return {std::move(reader), std::move(writer)};
}

ToolEnd superviseTool(const std::vector<std::string>& command, int reportPipe, double timeoutSeconds,
                      const StreamHandlers& handlers) {
    const Descriptor signals = openStopSignals();
    OutputPipe output;
    OutputPipe errors;
    const pid_t child = spawnTool(command, output.writeEnd.fd, errors.writeEnd.fd);
    output.writeEnd.close();
    errors.writeEnd.close();
    const Descriptor childEnd(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
    check(childEnd.fd >= 0, "pidfd_open");  // no wrapper that C++ can link in this C library

    const Clock::time_point never = Clock::time_point::max();
    Clock::time_point deadline = timeoutSeconds > 0
                                     ? Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                                          std::chrono::duration<double>(timeoutSeconds))
                                     : never;
    ToolStopper stopper{child, {}};
    bool timedOut = false;
    bool interrupted = false;
    std::array<pollfd, 5> polled = {{{reportPipe, POLLIN, 0},
                                     {output.readEnd.fd, POLLIN, 0},
                                     {errors.readEnd.fd, POLLIN, 0},
                                     {signals.fd, POLLIN, 0},
                                     {childEnd.fd, POLLIN, 0}}};
    while (polled[4].revents == 0) {
        const Clock::time_point wakeUp = std::min(deadline, stopper.killAt.value_or(never));
        if (poll(polled.data(), polled.size(), waitTime(wakeUp)) < 0) {
            continue;
        }
        servePipe(polled[0], handlers.records);
        servePipe(polled[1], handlers.console);
        servePipe(polled[2], handlers.errors);
        if (polled[3].revents != 0) {
            readStopSignals(signals.fd);
            interrupted = true;
            stopper.stop();
        }
        if (Clock::now() >= deadline) {
            deadline = never;
            timedOut = true;
            stopper.stop();
        }
        if (stopper.killAt && Clock::now() >= *stopper.killAt) {
            stopper.stop();
        }
        handlers.tick();
    }
    // What the tool wrote is in the pipes by now. Processes that it left behind are not waited for.
    drain(reportPipe, handlers.records);
    drain(output.readEnd.fd, handlers.console);
    drain(errors.readEnd.fd, handlers.errors);
    ToolEnd end = reap(child);
    end.timedOut = timedOut;
    end.interrupted = interrupted;
    return end;
}

ToolEnd readStream(int fd, const StreamHandlers& handlers) {
    const Descriptor signals = openStopSignals();
    std::array<pollfd, 2> polled = {{{fd, POLLIN, 0}, {signals.fd, POLLIN, 0}}};
    ToolEnd end;
    while (polled[0].fd >= 0 && !end.interrupted) {
        if (poll(polled.data(), polled.size(), static_cast<int>(tickTime.count())) < 0) {
            continue;
        }
        servePipe(polled[0], handlers.records);
        end.interrupted = polled[1].revents != 0;
        handlers.tick();
    }
    return end;
}

}  // namespace station
