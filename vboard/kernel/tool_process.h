#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "host/child_process.h"
#include "host/descriptor.h"

namespace vboard {

// Where the tool's standard output leads: what stdio makes of it differs.
enum class OutputKind { pipe, file, terminal };

// How a host program is started as the tool.
struct ToolCommand {
    std::vector<std::string> emulator;  // in front of the program, for builds of another machine
    std::string program;
    std::string preload;  // the preload library, built for the tool's machine
    std::vector<std::string> arguments;
    std::vector<std::string> environment;  // "NAME=value", beyond what the board sets itself
    OutputKind standardOutput = OutputKind::pipe;
    bool mergeErrors = false;  // standard error goes where standard output goes
};

// The tool as a host process with its output channels. It runs in a process group of its own and dies with
// this object.
class ToolProcess {
  public:
    // Starts the program; connection is handed to it as its first task's. Throws std::runtime_error where the
    // program would not load the preload library and so run on the host, std::system_error for host failures.
    ToolProcess(const ToolCommand& command, int connection);

    // What the tool wrote since the last look, without waiting.
    std::string takeOutput();
    std::string takeErrors();

    // Descriptors to poll for more output; -1 for a file, which never keeps the tool waiting.
    int outputDescriptor() const { return kind_ == OutputKind::file ? -1 : output_.get(); }
    int errorsDescriptor() const { return errors_.get(); }

    void kill();
    int wait();  // waits for the end; the status as waitpid(2) gives it

  private:
    std::optional<host::ChildProcess> child_;  // once it is started
    host::Descriptor output_;
    host::Descriptor errors_;
    off_t position_ = 0;  // in an output file
    OutputKind kind_;
};

}  // namespace vboard
