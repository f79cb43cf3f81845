#include "tool_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
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

namespace station {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int pipeBytes =
    1024 * 1024;                       // the most that any user may ask for: a stopped terminal loses nothing
constexpr int cannotStart = 127;       // a shell's status for a program that can't be started
constexpr int tickMilliseconds = 250;  // of the view, and how late a time limit may be seen
constexpr std::chrono::seconds graceTime{2};

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
        throw WrongUse(path + ": something else lies where the report pipe belongs; it is left alone");
    }
}

bool hasReader(const std::string& path) {
    const Descriptor writer(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    check(writer.fd >= 0 || errno == ENXIO, path);
    return writer.fd >= 0;
}

// No read would tell a stranger's bytes from those of our tool. Without a writer a read gives the end of the
// file, with a silent one EAGAIN.
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

// In the child, between fork and exec: nothing here may allocate.
[[noreturn]] void becomeTool(char* const* arguments, int output, int errors) {
    const sigset_t set = stopSignals();
    (void)sigprocmask(SIG_UNBLOCK, &set, nullptr);
    (void)signal(SIGPIPE, SIG_DFL);
    if (dup2(output, STDOUT_FILENO) >= 0 && dup2(errors, STDERR_FILENO) >= 0) {
        (void)execvp(arguments[0], arguments);
    }
    _exit(cannotStart);
}

pid_t startTool(const std::vector<std::string>& command, int output, int errors) {
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));  // exec's type; it only reads
    }
    arguments.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        becomeTool(arguments.data(), output, errors);
    }
    check(child > 0, "fork");
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

// Ends a tool that has to go: asks first, insists when it is asked again or does not go.
struct ToolStopper {
    pid_t child;
    Clock::time_point killAt = Clock::time_point::max();

    void stop() {
        const bool asked = killAt != Clock::time_point::max();
        (void)kill(child, asked ? SIGKILL : SIGTERM);  // not reaped yet, so the id is still the tool's
        killAt = asked ? killAt : Clock::now() + graceTime;
    }
    void insist() {
        if (Clock::now() >= killAt) {
            stop();
        }
    }
};

void readStopSignals(int fd) {
    signalfd_siginfo info;
    while (read(fd, &info, sizeof info) > 0) {
    }
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
        throw WrongUse(path + ": somebody reads this pipe already, another station perhaps");
    }
    Descriptor reader(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    check(reader.fd >= 0, path);
    if (flock(reader.fd, LOCK_EX | LOCK_NB) != 0) {  // two stations that started in the same moment
        throw WrongUse(path + ": another station reads this pipe");
    }
    if (hasWriter(reader.fd)) {
        throw WrongUse(path + ": a tool from before still writes to this pipe; wait until it has ended");
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
    ToolStopper tool{startTool(command, output.writeEnd.fd, errors.writeEnd.fd)};
    output.writeEnd.close();
    errors.writeEnd.close();
    // By its number: the C library's header for it is not fit for C++.
    const Descriptor childEnd(static_cast<int>(syscall(SYS_pidfd_open, tool.child, 0)));
    check(childEnd.fd >= 0, "pidfd_open");

    const Clock::time_point start = Clock::now();
    bool timedOut = false;
    bool interrupted = false;
    std::array<pollfd, 5> polled = {{{reportPipe, POLLIN, 0},
                                     {output.readEnd.fd, POLLIN, 0},
                                     {errors.readEnd.fd, POLLIN, 0},
                                     {signals.fd, POLLIN, 0},
                                     {childEnd.fd, POLLIN, 0}}};
    while (polled[4].revents == 0) {
        if (poll(polled.data(), polled.size(), tickMilliseconds) < 0) {
            continue;
        }
        servePipe(polled[0], handlers.records);
        servePipe(polled[1], handlers.console);
        servePipe(polled[2], handlers.errors);
        if (polled[3].revents != 0) {
            readStopSignals(signals.fd);
            interrupted = true;
            tool.stop();
        }
        const std::chrono::duration<double> elapsed = Clock::now() - start;
        if (timeoutSeconds > 0 && elapsed.count() >= timeoutSeconds && !timedOut) {
            timedOut = true;
            tool.stop();
        }
        tool.insist();
        handlers.tick();
    }
    // What the tool wrote is in the pipes by now. Processes that it left behind are not waited for.
    drain(reportPipe, handlers.records);
    drain(output.readEnd.fd, handlers.console);
    drain(errors.readEnd.fd, handlers.errors);
    ToolEnd end = reap(tool.child);
    end.timedOut = timedOut;
    end.interrupted = interrupted;
    return end;
}

ToolEnd readStream(int fd, const StreamHandlers& handlers) {
    const Descriptor signals = openStopSignals();
    std::array<pollfd, 2> polled = {{{fd, POLLIN, 0}, {signals.fd, POLLIN, 0}}};
    ToolEnd end;
    while (polled[0].fd >= 0 && !end.interrupted) {
        if (poll(polled.data(), polled.size(), tickMilliseconds) < 0) {
            continue;
        }
        servePipe(polled[0], handlers.records);
        end.interrupted = polled[1].revents != 0;
        handlers.tick();
    }
    return end;
}

}  // namespace station
