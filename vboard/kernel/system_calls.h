#pragma once

#include <string>

#include "vboard/kernel/faults.h"
#include "vboard/kernel/machine.h"
#include "vboard/kernel/process.h"
#include "vboard/kernel/trace.h"

namespace vboard {

// The board's kernel: answers one request after the other from the file tree and the devices behind it.
class SystemCalls {
  public:
    SystemCalls(Machine& machine, Faults& faults, bool selectWritesBack)
        : machine_(machine), faults_(faults), selectWritesBack_(selectWritesBack) {}

    // Answers into reply, or says what the task has to wait for. entry tells the trace what was asked.
    std::optional<Wait> perform(Process& process, const wire::Request& request, wire::Reply& reply,
                                TraceEntry& entry);

  private:
    struct Context {
        Process& process;
        const wire::Request& request;
        wire::Reply& reply;
        TraceEntry& entry;
        std::shared_ptr<OpenFile> file;  // behind the descriptor; null when it is not open
    };

    std::optional<Wait> answer(Context& context);
    std::optional<Wait> answerFile(Context& context);
    void answerPath(Context& context);
    void answerTerminal(Context& context);
    void open(Context& context);
    void openDirectory(Context& context);
    void readDirectory(Context& context);
    void ioctl(Context& context);
    void seek(Context& context);
    void runCommand(Context& context);
    void fileSystem(Context& context);
    std::optional<Wait> read(Context& context);
    std::optional<Wait> write(Context& context);
    std::optional<Wait> select(Context& context);
    std::optional<Wait> sleep(Context& context);
    void addFile(Context& context, OpenFile file);

    Machine& machine_;
    Faults& faults_;
    bool selectWritesBack_;
    Node directory_;  // what an open directory can do beyond being read: nothing
};

}  // namespace vboard
