#include "tool_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <span>

#include "report_pipe.h"

namespace station {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int cannotStart = 127;       // a shell's status for a program that can't be started
constexpr int tickMilliseconds = 250;  // of the view, and how late a time limit may be seen
constexpr std::chrono::seconds graceTime{2};

// Without those that whoever started us has us ignore, as nohup does.
sigset_t stopSignals() {
    sigset_t set;
    (void)sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction now = {};
        if (sigaction(signal, nullptr, &now) == 0 && now.sa_handler != SIG_IGN) {
            (void)sigaddset(&set, signal);
        }
    }
    return set;
}

Descriptor openStopSignals() {
    const sigset_t set = stopSignals();
    Descriptor signals(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
    check(signals.fd >= 0, "signalfd");
    return signals;
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
        makeRoom(ends[0]);
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

using Handler = std::function<void(std::string_view)>;

// One read, handed on: its bytes, 0 at the end of the stream, -1 when there is nothing now. Small enough to
// come back to the other pipes soon, and a full pipe needs few of them.
ssize_t passOn(int fd, const Handler& handler) {
    static std::array<char, 64 * 1024> buffer;
    const ssize_t length = read(fd, buffer.data(), buffer.size());
    if (length > 0) {
        handler({buffer.data(), static_cast<size_t>(length)});
    }
    const bool isEnd = length < 0 && errno != EAGAIN && errno != EINTR;
    return isEnd ? 0 : length;
}

// What waits in the pipe now; somebody whom the tool left behind may write for ever.
void drain(int fd, const Handler& handler) {
    int waiting = 0;
    (void)ioctl(fd, FIONREAD, &waiting);  // a pipe always knows
    for (ssize_t length = 0; waiting > 0 && (length = passOn(fd, handler)) > 0;) {
        waiting -= static_cast<int>(length);
    }
}

// A pipe whose writers are gone is no longer asked: it would wake us without end.
void servePipe(pollfd& entry, const Handler& handler) {
    if (entry.revents != 0 && passOn(entry.fd, handler) == 0) {
        entry.fd = -1;
    }
}

void waitForAny(std::span<pollfd> entries) {
    const int ready = poll(entries.data(), entries.size(), tickMilliseconds);
    check(ready >= 0 || errno == EINTR, "poll");
    if (ready < 0) {
        for (pollfd& entry : entries) {
            entry.revents = 0;
        }
    }
}

// The tool's process. It does not outlive its supervision, whatever becomes of that.
class ToolProcess {
  public:
    explicit ToolProcess(pid_t started) : child(started) {}
    ~ToolProcess() {
        if (child > 0) {
            (void)kill(child, SIGKILL);
            (void)reap();
        }
    }
    ToolProcess(const ToolProcess&) = delete;
    ToolProcess& operator=(const ToolProcess&) = delete;

    // A descriptor that is readable when the process has ended.
    Descriptor openEnd() const {
        // By its number: the C library's header for it is not fit for C++.
        Descriptor end(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
        check(end.fd >= 0, "pidfd_open");
        return end;
    }

    // Asks it to end first, insists when asked again.
    void stop() {
        const bool asked = killAt != Clock::time_point::max();
        (void)kill(child, asked ? SIGKILL : SIGTERM);  // not reaped yet, so the id is still the tool's
        killAt = asked ? killAt : Clock::now() + graceTime;
    }
    // Insists when it was asked and does not go.
    void insist() {
        if (Clock::now() >= killAt) {
            stop();
        }
    }

    ToolEnd reap() {
        int status = 0;
        while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
        child = -1;
        ToolEnd end;
        if (WIFSIGNALED(status)) {
            end.signal = WTERMSIG(status);
        } else {
            end.exitStatus = WEXITSTATUS(status);
        }
        return end;
    }

  private:
    pid_t child;
    Clock::time_point killAt = Clock::time_point::max();
};

void readStopSignals(int fd) {
    signalfd_siginfo info;
    while (read(fd, &info, sizeof info) > 0) {
    }
}

}  // namespace

void takeOverSignals() {
    const sigset_t set = stopSignals();
    (void)sigprocmask(SIG_BLOCK, &set, nullptr);
    (void)signal(SIGPIPE, SIG_IGN);
    (void)signal(SIGCHLD, SIG_DFL);  // ignored, as some daemons leave it, it would lose the tool's status
}

void giveBackSignals() {
    const sigset_t set = stopSignals();
    (void)sigprocmask(SIG_UNBLOCK, &set, nullptr);
}

ToolEnd superviseTool(const std::vector<std::string>& command, int reportPipe, double timeoutSeconds,
                      const StreamHandlers& handlers) {
    const Descriptor signals = openStopSignals();
    OutputPipe output;
    OutputPipe errors;
    ToolProcess tool{startTool(command, output.writeEnd.fd, errors.writeEnd.fd)};
    output.writeEnd.close();
    errors.writeEnd.close();
    const Descriptor toolEnd = tool.openEnd();

    const Clock::time_point start = Clock::now();
    bool timedOut = false;
    bool interrupted = false;
    std::array<pollfd, 5> polled = {{{reportPipe, POLLIN, 0},
                                     {output.readEnd.fd, POLLIN, 0},
                                     {errors.readEnd.fd, POLLIN, 0},
                                     {signals.fd, POLLIN, 0},
                                     {toolEnd.fd, POLLIN, 0}}};
    while (polled[4].revents == 0) {
        waitForAny(polled);
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
    // What the tool wrote is in the pipes by now.
    drain(reportPipe, handlers.records);
    drain(output.readEnd.fd, handlers.console);
    drain(errors.readEnd.fd, handlers.errors);
    ToolEnd end = tool.reap();
    end.timedOut = timedOut;
    end.interrupted = interrupted;
    return end;
}

ToolEnd readStream(int fd, const StreamHandlers& handlers) {
    const Descriptor signals = openStopSignals();
    std::array<pollfd, 2> polled = {{{fd, POLLIN, 0}, {signals.fd, POLLIN, 0}}};
    ToolEnd end;
    while (polled[0].fd >= 0 && !end.interrupted) {
        waitForAny(polled);
        servePipe(polled[0], handlers.records);
        end.interrupted = polled[1].revents != 0;
        handlers.tick();
    }
    return end;
}

}  // namespace station
