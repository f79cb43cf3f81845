#pragma once

#include <string>
#include <variant>

#include "vboard/kernel/faults.h"
#include "vboard/kernel/machine.h"
#include "vboard/kernel/process.h"
#include "vboard/kernel/trace.h"

namespace vboard {

// The board's kernel: answers one request after the other from the file tree and the devices behind it. Each
// libc call is a row of one table (call_rows.cpp) with a procedure here.
class SystemCalls {
  public:
    SystemCalls(Machine& machine, Faults& faults, bool selectWritesBack)
        : machine_(machine), faults_(faults), selectWritesBack_(selectWritesBack) {}

    // Answers into reply, or says what the task has to wait for. entry tells the trace what was asked.
    std::optional<Wait> perform(Process& process, const wire::Request& request, wire::Reply& reply,
                                TraceEntry& entry);

    // Whether a fault may strike the call; a power cut counts those.
    static bool canFail(wire::Call call);

  private:
    struct Row;
    struct Context {
        Process& process;
        const wire::Request& request;
        wire::Reply& reply;
        TraceEntry& entry;
        std::shared_ptr<OpenFile> file;  // behind the descriptor; null when it is not open

        const std::string& path() const { return entry.where; }
    };
    using Outcome = std::variant<Result, Wait>;
    using Answer = Outcome (SystemCalls::*)(Context& context);

    static const Row& rowOf(wire::Call call);
    static void describe(const Row& row, Context& context);
    Outcome answer(const Row& row, Context& context);
    int addFile(Context& context, OpenFile file);

    // Without a path or a file.
    Outcome startTask(Context& context);
    Outcome sleep(Context& context);
    Outcome setUser(Context& context);
    Outcome nameSystem(Context& context);
    Outcome openSocket(Context& context);
    Outcome select(Context& context);

    // With a path, or a command in its place.
    Outcome runCommand(Context& context);
    Outcome changeDirectory(Context& context);
    Outcome access(Context& context);
    Outcome makeDirectory(Context& context);
    Outcome mount(Context& context);
    Outcome unmount(Context& context);
    Outcome fileSystem(Context& context);
    Outcome open(Context& context);
    Outcome openDirectory(Context& context);

    // With an open file, the last ones with a terminal.
    Outcome readDirectory(Context& context);
    Outcome close(Context& context);
    Outcome read(Context& context);
    Outcome readAt(Context& context);
    Outcome write(Context& context);
    Outcome seek(Context& context);
    Outcome synchronize(Context& context);
    Outcome ioctl(Context& context);
    Outcome getAttributes(Context& context);
    Outcome setAttributes(Context& context);
    Outcome drain(Context& context);
    Outcome flush(Context& context);

    Machine& machine_;
    Faults& faults_;
    bool selectWritesBack_;
    Node directory_;  // what an open directory can do beyond being read: nothing
};

}  // namespace vboard
