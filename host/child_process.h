#pragma once

// A program as a child process.

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace host {

constexpr int cannotStart = 127;  // a shell's status for a program that can not be started

struct Command {
    std::vector<std::string> words;  // the program and its arguments
    bool searchPath = true;          // as a shell does; or the program is that file and no other
    std::optional<std::vector<std::string>> environment;  // "NAME=value"; without one ours is inherited

    int input = -1;   // becomes descriptor 0; -1: ours stays
    int output = -1;  // becomes descriptor 1, or 2, and so on
    int errors = -1;
    std::vector<int> inherited;  // stay open in the program under their numbers, whatever their flags

    bool ownGroup = false;        // leads a process group of its own
    bool endsWithParent = false;  // is killed when the thread that started it ends

    // Said on the program's standard error, with the reason behind it, when it can not be started.
    std::string complaint;
};

// Starts the program with no signal blocked and SIGPIPE as usual. Nothing is left open or running when it
// throws. Throws std::system_error; a program that can not be started ends with the status cannotStart.
// Reaps nothing: the caller waits for it.
pid_t start(const Command& command);

// A started process; killed and reaped when it goes out of scope.
class ChildProcess {
  public:
    explicit ChildProcess(const Command& command) : id_(start(command)), isGroup_(command.ownGroup) {}
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // To the process, or to all of its group. Nothing happens once it was waited for: the id may be somebody
    // else's then.
    void signal(int number) const;

    // Waits for its end; the status as waitpid(2) gives it, again and again.
    int wait();

    // The same without waiting: false while it runs.
    bool hasEnded();

  private:
    bool reap(int options);

    pid_t id_;
    bool isGroup_;
    bool reaped_ = false;
    int status_ = 0;
};

// The program that a shell would start for that name: a path as it is, anything else by PATH; empty when
// there is none.
std::filesystem::path findProgram(const std::string& name);

}  // namespace host
