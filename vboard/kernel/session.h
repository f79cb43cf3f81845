#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "vboard/kernel/faults.h"
#include "vboard/kernel/machine.h"
#include "vboard/kernel/process.h"
#include "vboard/kernel/system_calls.h"
#include "vboard/kernel/tool_process.h"
#include "vboard/kernel/trace.h"

namespace vboard {

// How a run is to be done.
struct RunSettings {
    Time requestCost =
        std::chrono::microseconds(20);          // each request takes this long, or a busy poll never ends
    Time timeLimit = std::chrono::minutes(10);  // of virtual time; a run that would never end stops there
    std::chrono::seconds silenceLimit{60};      // of wall time without a request: the tool hangs by itself
    bool realTime = false;                      // paced by the wall clock, for people
    bool selectWritesBack = true;               // as the kernel does; C libraries differ in passing it on
    std::vector<Time> interrupts;               // moments of a SIGINT, as from the operator's terminal
    std::optional<unsigned> powerCutAfter;      // requests (those that can fail); the tool is killed then
    std::vector<Fault> faults;
    std::function<void(Time, std::string_view)> onOutput;  // as it comes, for whoever watches
    std::function<void(Time, std::string_view)> onErrors;
};

// What a run left behind.
struct SessionResult {
    int waitStatus = 0;      // as waitpid(2) gives it
    std::string stopReason;  // why the board stopped the run; "" when the tool ended by itself
    std::string output;      // the tool's standard output, bytes as they came
    std::string errors;      // its standard error
    Trace trace;
    Time elapsed{0};
    unsigned requestCount = 0;            // of those that can fail
    std::vector<std::string> idleFaults;  // requests of the faults that never came to strike
    std::vector<std::string> openAtEnd;   // paths that the first process still had open
};

// One run of the tool on a machine. One task runs at a time and virtual time passes only when every task
// waits, so nothing depends on how fast the host is.
class Session {
  public:
    Session(Machine& machine, const RunSettings& settings, Node& standardInput);
    ~Session();
    SessionResult run(ToolCommand command);

  private:
    Task& addTask(std::string name, std::shared_ptr<Process> process, bool isFirstOfProcess);
    void loop();
    bool step();
    Task* runningTask();
    bool completeReadyWait();
    void completeWait(Task& task, int error, int signal);
    void replyLater(Task& task);
    void send(Task& task, Task* started = nullptr);
    bool awaitRequest(Task& task);
    void handle(Task& task);
    void startTask(Task& parent);
    void endTask(Task& task);
    void endDeadProcess(const Process& process);
    void beginWait(Task& task, Wait wait);
    void interrupt();
    void collectOutput();
    void stop(const std::string& reason);
    void pace(Time next) const;

    Machine& machine_;
    const RunSettings& settings_;
    Faults faults_;
    SystemCalls systemCalls_;
    Node& standardInput_;
    std::unique_ptr<ToolProcess> tool_;
    std::deque<Task> tasks_;
    unsigned threadCount_ = 0;
    unsigned childCount_ = 0;
    wire::Request request_ = {};
    SessionResult result_;
    std::chrono::steady_clock::time_point wallStart_;
};

}  // namespace vboard
