#include "vboard/kernel/session.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <span>
#include <thread>
#include <utility>

#include "vboard/kernel/own_core.h"

namespace vboard {

namespace {

// Such a channel would wake us for ever.
void leaveClosed(std::span<pollfd> channels) {
    for (pollfd& channel : channels) {
        if ((channel.revents & POLLIN) == 0 && channel.revents != 0) {
            channel.fd = -1;
        }
    }
}

}  // namespace

Session::Session(Machine& machine, const RunSettings& settings, Node& standardInput)
    : machine_(machine),
      settings_(settings),
      faults_(settings.faults),
      systemCalls_(machine, faults_, settings.selectWritesBack),
      standardInput_(standardInput) {}

Session::~Session() {
    for (Task& task : tasks_) {
        endTask(task);
    }
}

SessionResult Session::run(ToolCommand command) {
    const OwnCore core;
    const auto process = std::make_shared<Process>();
    process->files[STDIN_FILENO] = std::make_shared<OpenFile>(OpenFile{&standardInput_, "standard input"});
    Task& first = addTask("main", process, true);
    tool_ = std::make_unique<ToolProcess>(command, first.connection.toolsEnd());
    first.connection.closeToolsEnd();
    wallStart_ = std::chrono::steady_clock::now();

    machine_.clock.at(Time(0), [this, &first] { send(first); });
    for (const Time moment : settings_.interrupts) {
        machine_.clock.at(moment, [this] { interrupt(); });
    }
    loop();
    result_.waitStatus = tool_->wait();
    collectOutput();
    result_.elapsed = machine_.clock.now();
    result_.idleFaults = faults_.idle();
    return std::move(result_);
}

void Session::loop() {
    while (std::any_of(tasks_.begin(), tasks_.end(), [](const Task& task) { return !task.ended; })) {
        if (!step()) {
            return;
        }
    }
}

// One move: the running task's next request, or a wait that is over, or the next event. False ends the run.
bool Session::step() {
    if (Task* task = runningTask()) {
        return awaitRequest(*task);
    }
    if (completeReadyWait()) {
        return true;
    }
    if (!machine_.clock.hasEvents()) {
        stop("every task waits for something that never happens");
        return false;
    }
    const Time next = machine_.clock.nextEvent();
    if (next > settings_.timeLimit) {
        stop("the virtual time limit of " +
             std::to_string(std::chrono::duration_cast<std::chrono::seconds>(settings_.timeLimit).count()) +
             " s is reached");
        return false;
    }
    pace(next);
    machine_.clock.advance();
    return true;
}

// False when the tool hangs or was stopped. What the tool said before a request is seen together with it: the
// kernel looks at the channels in their order.
bool Session::awaitRequest(Task& task) {
    const bool isFile = tool_->outputDescriptor() == -1;  // nobody tells when there is more in it
    pollfd watched[] = {{task.connection.descriptor(), POLLIN, 0},
                        {tool_->outputDescriptor(), POLLIN, 0},
                        {tool_->errorsDescriptor(), POLLIN, 0}};
    const auto asked = std::chrono::steady_clock::now();
    for (;;) {
        const auto silence = std::chrono::steady_clock::now() - asked;
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(settings_.silenceLimit - silence);
        if (left.count() <= 0 || poll(watched, 3, static_cast<int>(left.count())) == 0) {
            stop("the tool made no request for " + std::to_string(settings_.silenceLimit.count()) +
                 " s of real time");
            return false;
        }
        if (isFile || ((watched[1].revents | watched[2].revents) & POLLIN) != 0) {
            collectOutput();
        }
        leaveClosed(std::span(watched).subspan(1));
        const ssize_t size = task.connection.receive(request_);
        if (size >= static_cast<ssize_t>(wire::requestHeaderBytes)) {
            task.running = false;
            handle(task);
            return true;
        }
        if (size == 0 || (size == -1 && errno != EAGAIN && errno != EINTR)) {
            collectOutput();
            endTask(task);
            endDeadProcess(*task.process);
            return true;
        }
    }
}

void Session::handle(Task& task) {
    TraceEntry entry;
    entry.at = machine_.clock.now();
    entry.task = task.name;
    task.reply = {};
    std::optional<Wait> wait = systemCalls_.perform(*task.process, request_, task.reply, entry);
    entry.result = task.reply.result;
    entry.error = task.reply.error;
    task.traceIndex = result_.trace.size();
    result_.trace.push_back(std::move(entry));

    const bool starts = request_.call == wire::Call::startThread || request_.call == wire::Call::startProcess;
    if (starts && task.reply.error == 0) {
        startTask(task);
    } else if (wait) {
        beginWait(task, std::move(*wait));
    } else {
        replyLater(task);
    }
    if (SystemCalls::canFail(request_.call) && ++result_.requestCount == settings_.powerCutAfter) {
        stop("power cut");
    }
}

void Session::collectOutput() {
    const auto collect = [this](std::string& all, const std::string& text, const auto& watcher) {
        all += text;
        if (watcher && !text.empty()) {
            watcher(machine_.clock.now(), text);
        }
    };
    collect(result_.output, tool_->takeOutput(), settings_.onOutput);
    collect(result_.errors, tool_->takeErrors(), settings_.onErrors);
}

void Session::stop(const std::string& reason) {
    result_.stopReason = reason;
    tool_->kill();
    (void)tool_->wait();
    for (Task& task : tasks_) {
        endTask(task);
    }
}

void Session::pace(Time next) const {
    if (settings_.realTime) {
        std::this_thread::sleep_until(wallStart_ + next);
    }
}

}  // namespace vboard
