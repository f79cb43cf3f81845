#include "station/link/tool_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <optional>
#include <span>

#include "host/child_process.h"
#include "host/descriptor.h"
#include "station/link/report_pipe.h"
#include "station/link/sign_of_life.h"

namespace station {

namespace {

using Moment = std::chrono::steady_clock::time_point;

constexpr int tickMilliseconds = 250;  // of the view, and how late a time limit may be seen
constexpr std::chrono::seconds graceTime{2};
constexpr std::chrono::seconds linkGraceTime{10};  // the board needs three of them, and the answer its way

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

// The end of a child is told as well. SIGCHLD has to be blocked before there is one.
host::Descriptor openSignals() {
    sigset_t set = stopSignals();
    (void)sigaddset(&set, SIGCHLD);
    return host::Descriptor(host::checked(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK), "signalfd"));
}

// True when one of them was a stop signal.
bool readSignals(const host::Descriptor& signals) {
    bool stop = false;
    signalfd_siginfo info;
    while (read(signals.get(), &info, sizeof info) > 0) {
        stop = stop || info.ssi_signo != SIGCHLD;
    }
    return stop;
}

host::Pipe openOutput() {
    host::Pipe pipe = host::openPipe();
    makeRoom(pipe.reader);
    return pipe;
}

using Handler = StreamHandlers::Handler;

// One read, handed on: its bytes, 0 at the end of the stream, -1 when there is nothing now. Small enough to
// come back to the other pipes soon, and a full pipe needs few of them.
ssize_t passOn(int fd, const Handler& handler) {
    static std::array<char, 64 * 1024> buffer;
    const ssize_t length = read(fd, buffer.data(), buffer.size());
    if (length > 0) {
        handler({buffer.data(), static_cast<std::size_t>(length)});
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
    host::require(ready >= 0 || errno == EINTR, "poll");
    if (ready < 0) {
        for (pollfd& entry : entries) {
            entry.revents = 0;
        }
    }
}

// The tool's process. It does not outlive its supervision, whatever becomes of that.
class Tool {
  public:
    Tool(const host::Command& command, SignOfLife* life) : process_(command), life_(life) {}

    bool hasEnded() { return process_.hasEnded(); }

    // Asks it to end first, insists when asked again.
    void stop() {
        const bool asked = killAt_ != Moment::max();
        if (!asked && life_ != nullptr) {
            life_->stop();
        } else {
            process_.signal(asked ? SIGKILL : SIGTERM);
        }
        const std::chrono::seconds grace = life_ != nullptr ? linkGraceTime : graceTime;
        killAt_ = asked ? killAt_ : std::chrono::steady_clock::now() + grace;
    }
    // Insists when it was asked and does not go.
    void insist() {
        if (std::chrono::steady_clock::now() >= killAt_) {
            stop();
        }
    }

    ToolEnd end() {
        const int status = process_.wait();
        ToolEnd end;
        if (WIFSIGNALED(status)) {
            end.signal = WTERMSIG(status);
        } else {
            end.exitStatus = WEXITSTATUS(status);
        }
        return end;
    }

  private:
    host::ChildProcess process_;
    SignOfLife* life_;  // of a link, else null
    Moment killAt_ = Moment::max();
};

}  // namespace

void takeOverSignals() {
    sigset_t set = stopSignals();
    (void)sigaddset(&set, SIGCHLD);
    (void)sigprocmask(SIG_BLOCK, &set, nullptr);
    (void)signal(SIGPIPE, SIG_IGN);
    (void)signal(SIGCHLD, SIG_DFL);  // ignored, as some daemons leave it, it would lose the tool's status
}

host::Descriptor openStopSignals() {
    const sigset_t set = stopSignals();
    return host::Descriptor(host::checked(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK), "signalfd"));
}

void giveBackSignals() {
    const sigset_t set = stopSignals();
    (void)sigprocmask(SIG_UNBLOCK, &set, nullptr);
}

ToolEnd superviseTool(const ToolStart& start, const StreamHandlers& handlers) {
    const host::Descriptor signals = openSignals();
    host::Pipe output = openOutput();
    host::Pipe errors = openOutput();
    std::optional<SignOfLife> life;
    if (start.isLink) {
        life.emplace();
    }
    host::Command command;
    command.words = start.command;
    command.input = life ? life->reader() : start.input;
    command.output = output.writer.get();
    command.errors = errors.writer.get();
    command.ownGroup = start.isLink;
    Tool tool(command, life ? &*life : nullptr);
    output.writer.close();
    errors.writer.close();
    if (life) {
        life->begin();
    }

    const bool hasPipe = start.reportPipe >= 0;
    const StreamHandlers::Handler& onOutput = hasPipe ? handlers.console : handlers.records;
    bool timedOut = false;
    bool interrupted = false;
    std::array<pollfd, 4> polled = {{{start.reportPipe, POLLIN, 0},
                                     {output.reader.get(), POLLIN, 0},
                                     {errors.reader.get(), POLLIN, 0},
                                     {signals.get(), POLLIN, 0}}};
    // Whoever the tool leaves behind may keep its pipes open, so their end says nothing.
    while (!tool.hasEnded()) {
        waitForAny(polled);
        servePipe(polled[0], handlers.records);
        servePipe(polled[1], onOutput);
        servePipe(polled[2], handlers.errors);
        if (readSignals(signals)) {
            interrupted = true;
            tool.stop();
        }
        if (!timedOut && start.mustEnd()) {
            timedOut = true;
            tool.stop();
        }
        tool.insist();
        handlers.tick();
    }
    // What the tool wrote is in the pipes by now.
    if (hasPipe) {
        drain(start.reportPipe, handlers.records);
    }
    drain(output.reader.get(), onOutput);
    drain(errors.reader.get(), handlers.errors);
    ToolEnd end = tool.end();
    end.timedOut = timedOut;
    end.interrupted = interrupted;
    return end;
}

ToolEnd readStream(int fd, const TimeLimit& limit, const StreamHandlers& handlers) {
    const host::Descriptor signals = openSignals();
    std::array<pollfd, 2> polled = {{{fd, POLLIN, 0}, {signals.get(), POLLIN, 0}}};
    ToolEnd end;
    while (polled[0].fd >= 0 && !end.interrupted && !end.timedOut) {
        waitForAny(polled);
        servePipe(polled[0], handlers.records);
        end.interrupted = readSignals(signals);
        end.timedOut = limit.isOver();
        handlers.tick();
    }
    return end;
}

}  // namespace station
