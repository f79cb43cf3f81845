#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "vboard/kernel/clock.h"
#include "vboard/kernel/root.h"

namespace host {
class Section;
}

namespace vboard {

using host::Section;

// A file system as statfs(2) tells of it.
struct FileSystemStatus {
    std::uint64_t blockBytes = 0;
    std::uint64_t blocks = 0;
    std::uint64_t freeBlocks = 0;
};

// What the board's kernel and shell do beyond files and devices. Whatever nobody provides is refused.
struct Services {
    std::function<Result(const std::string& source, const std::string& target, const std::string& type)>
        mount;
    std::function<Result(const std::string& target)> umount;
    std::function<std::optional<FileSystemStatus>(const std::string& path)> statfs;
    // Each looks at a shell command and gives its exit status if it is one of its own.
    std::vector<std::function<std::optional<int>(const std::string& command)>> commands;
    Node* socket = nullptr;  // what socket(2) opens
    std::string kernelRelease = "2.6.24";
    int setuidError = 0;  // errno of setuid(2); 0: the tool becomes user 0
};

// What a device needs of the board it is plugged into.
struct Machine {
    Clock clock;
    Root root;
    Services services;
    std::chrono::seconds epoch{0};  // what time(2) says at the start of the run
};

// A device of the board. A scenario's tables of its name set its fields. Plugged in at the start of each run,
// it puts its nodes into the file tree and orders its first events. Its fields outlive the run, to be set
// before it and looked at after it.
class Device {
  public:
    virtual ~Device() = default;
    virtual const char* scenarioTable() const = 0;
    virtual void beginConfiguration() {}           // before the first of a scenario's tables, if it has any
    virtual void configure(Section& section) = 0;  // one table
    virtual void plugIn(Machine& machine) = 0;
};

}  // namespace vboard
