// The tool's tasks in a session: how they start, wait, are answered and end.

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "vboard/kernel/session.h"

namespace vboard {

Task& Session::addTask(std::string name, std::shared_ptr<Process> process, bool isFirstOfProcess) {
    Task& task = tasks_.emplace_back();
    task.name = std::move(name);
    task.process = std::move(process);
    task.isFirstOfProcess = isFirstOfProcess;
    return task;
}

Task* Session::runningTask() {
    const auto found =
        std::find_if(tasks_.begin(), tasks_.end(), [](const Task& task) { return task.running; });
    return found == tasks_.end() ? nullptr : &*found;
}

bool Session::completeReadyWait() {
    for (Task& task : tasks_) {
        if (task.wait && task.wait->ready && task.wait->ready()) {
            completeWait(task, 0, 0);
            return true;
        }
    }
    return false;
}

void Session::beginWait(Task& task, Wait wait) {
    const std::uint64_t number = ++task.waitNumber;
    if (wait.deadline) {
        machine_.clock.at(*wait.deadline, [this, &task, number] {
            if (task.wait && task.waitNumber == number) {
                completeWait(task, 0, 0);
            }
        });
    }
    task.wait = std::move(wait);
}

void Session::completeWait(Task& task, int error, int signal) {
    const Wait wait = std::move(*task.wait);
    task.wait.reset();
    wait.complete(task.reply);
    if (error != 0) {
        task.reply.error = error;
        task.reply.result = -1;
    }
    task.reply.signal = signal;
    TraceEntry& entry = result_.trace[task.traceIndex];
    entry.result = task.reply.result;
    entry.error = task.reply.error;
    if (task.reply.size != 0) {
        entry.data.assign(task.reply.data, task.reply.data + task.reply.size);
    }
    replyLater(task);
}

void Session::replyLater(Task& task) {
    machine_.clock.after(settings_.requestCost, [this, &task] { send(task); });
}

void Session::send(Task& task, Task* started) {
    if (task.ended) {
        if (started != nullptr) {
            started->connection.closeToolsEnd();  // nobody is left to take it: the new task never begins
        }
        return;
    }
    task.reply.signal = task.pendingSignal != 0 ? std::exchange(task.pendingSignal, 0) : task.reply.signal;
    task.reply.now = machine_.clock.now().count();
    task.reply.epoch = machine_.epoch.count();
    task.connection.send(task.reply, started != nullptr ? &started->connection : nullptr);
    task.running = true;
}

// The new task may go on right after its parent; both know of it before the clock moves.
void Session::startTask(Task& parent) {
    const bool isThread = request_.call == wire::Call::startThread;
    const std::string name =
        isThread ? "thread " + std::to_string(++threadCount_) : "child " + std::to_string(++childCount_);
    Task& started =
        addTask(name, isThread ? parent.process : std::make_shared<Process>(*parent.process), !isThread);
    machine_.clock.after(settings_.requestCost, [this, &parent, &started] { send(parent, &started); });
    replyLater(started);
}

// The end of a process's first task is the end of the process and of its threads.
void Session::endTask(Task& task) {
    if (task.ended) {
        return;
    }
    task.connection.close();
    task.ended = true;
    task.running = false;
    task.wait.reset();
    if (!task.isFirstOfProcess) {
        return;
    }
    for (Task& other : tasks_) {
        if (other.process == task.process) {
            endTask(other);
        }
    }
    if (&task == &tasks_.front()) {
        for (const auto& [descriptor, file] : task.process->files) {
            if (descriptor != STDIN_FILENO) {
                result_.openAtEnd.push_back(file->path);
            }
        }
    }
    task.process->files.clear();
}

// A thread that crashes takes its process with it, whatever the first task is waiting for.
void Session::endDeadProcess(const Process& process) {
    for (Task& task : tasks_) {
        if (task.process.get() == &process && task.isFirstOfProcess && !task.ended &&
            task.connection.isCut()) {
            endTask(task);
        }
    }
}

void Session::interrupt() {
    for (Task& task : tasks_) {
        if (task.ended || !task.isFirstOfProcess) {
            continue;
        }
        if (task.wait) {
            completeWait(task, EINTR, SIGINT);
        } else {
            task.pendingSignal = SIGINT;
        }
    }
}

}  // namespace vboard
