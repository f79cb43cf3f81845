#include "vboard/devices/processes.h"

namespace vboard {

void Processes::configure(Section& section) {
    section.flag("procPresent", procPresent);
    if (section.has("process")) {
        processes.clear();
    }
    section.each("process", [&](Section& entry) {
        BoardProcess process;
        entry.text("name", process.name);
        entry.texts("commandLine", process.commandLine);
        entry.flag("unreadable", process.unreadable);
        processes.push_back(process);
    });
}

void Processes::plugIn(Machine& machine) {
    killed.clear();
    if (!procPresent) {
        return;
    }
    commandLines_.clear();
    machine.root.addDirectory("/proc");
    for (const BoardProcess& process : processes) {
        const std::string folder = "/proc/" + process.name;
        machine.root.addDirectory(folder);
        if (process.unreadable) {
            continue;
        }
        File& file = commandLines_.emplace_back();
        for (const std::string& argument : process.commandLine) {
            file.content.insert(file.content.end(), argument.begin(), argument.end());
            file.content.push_back('\0');
        }
        machine.root.add(folder + "/cmdline", file);
    }
    machine.services.commands.push_back(
        [this, &machine](const std::string& command) { return runKill(machine, command); });
}

std::optional<int> Processes::runKill(Machine& machine, const std::string& command) {
    const std::string start = "kill -9 ";
    if (!command.starts_with(start) || !command.ends_with("\n")) {
        return std::nullopt;
    }
    const std::string id = command.substr(start.size(), command.size() - start.size() - 1);
    if (machine.root.list("/proc/" + id) == nullptr) {
        return 1;
    }
    machine.root.remove("/proc/" + id + "/cmdline");
    machine.root.remove("/proc/" + id);
    killed.push_back(id);
    return 0;
}

}  // namespace vboard
