#pragma once

#include <deque>
#include <string>
#include <vector>

#include "vboard/kernel/machine.h"
#include "vboard/scenario/section.h"

namespace vboard {

// An entry of "/proc".
struct BoardProcess {
    std::string name = "1";                // the process id; other names are entries like "self"
    std::vector<std::string> commandLine;  // argument 0 first
    bool unreadable = false;               // listed, but gone or closed to us when looked at
};

// The processes that run on the board beside the tool, in the order in which "/proc" lists them.
class Processes : public Device {
  public:
    bool procPresent = true;
    std::vector<BoardProcess> processes;

    std::vector<std::string> killed;  // process ids in the order in which they were killed

    const char* scenarioTable() const override { return "processes"; }
    void configure(Section& section) override;
    void plugIn(Machine& machine) override;

  private:
    std::optional<int> runKill(Machine& machine, const std::string& command);

    std::deque<File> commandLines_;
};

}  // namespace vboard
