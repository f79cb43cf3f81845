#include "vboard/devices/usb_ports.h"

#include <sstream>

namespace vboard {

void UsbPorts::configure(Section& section) {
    section.texts("mice", mice);
    section.flag("usb3", usb3);
    section.texts("order", order);
    section.texts("mountPoints", mountPoints);
    section.each("disk", [&](Section& entry) {
        std::string name;
        entry.text("name", name);
        if (name.empty()) {
            entry.fail("name", "is missing");
        }
        UsbDisk& disk = disks[name];
        entry.number("partitions", disk.partitions);
        entry.number("freeBlocks", disk.fileSystem.freeBlocks);
        entry.number("blockBytes", disk.fileSystem.blockBytes);
        entry.choice("mount", disk.mount,
                     {{"works", UsbDisk::Mount::works},
                      {"by shell only", UsbDisk::Mount::byShellOnly},
                      {"never", UsbDisk::Mount::never}});
        entry.flag("queryFails", disk.queryFails);
        entry.flag("absent", disk.absent);
    });
}

void UsbPorts::plugIn(Machine& machine) {
    machine_ = &machine;
    mounted.clear();
    machine.root.addDirectory("/dev/input");
    for (const std::string& mouse : mice) {
        machine.root.add("/dev/input/" + mouse, node_);
    }
    for (const auto& [name, disk] : disks) {
        if (disk.absent) {
            continue;
        }
        machine.root.add("/dev/" + name, node_);
        for (unsigned partition = 1; partition <= disk.partitions; ++partition) {
            machine.root.add("/dev/" + name + std::to_string(partition), node_);
        }
    }
    machine.root.order("/dev", order);
    machine.root.addDirectory("/mnt");
    for (const std::string& name : mountPoints) {
        machine.root.addDirectory("/mnt/" + name);
    }
    for (const std::string& device : busEntries) {
        machine.root.addName("/sys/bus/usb/devices", device);
    }
    if (usb3) {
        machine.root.addName("/sys/bus/usb/devices", "4-1");
    }
    machine.services.mount = [this](const std::string& device, const std::string& target,
                                    const std::string& type) { return mount(device, target, type, false); };
    machine.services.umount = [this](const std::string& target) { return umount(target); };
    machine.services.statfs = [this](const std::string& path) { return statfs(path); };
    machine.services.commands.push_back([this](const std::string& command) { return runCommand(command); });
}

// The disk behind a device that carries a file system; null for any other.
const UsbDisk* UsbPorts::fileSystemOf(const std::string& device) const {
    for (const auto& [name, disk] : disks) {
        for (unsigned partition = 1; partition <= disk.partitions; ++partition) {
            if (device == "/dev/" + name + std::to_string(partition)) {
                return &disk;
            }
        }
        if (disk.partitions == 0 && device == "/dev/" + name) {
            return &disk;
        }
    }
    return nullptr;
}

Result UsbPorts::mount(const std::string& device, const std::string& target, const std::string& type,
                       bool byShell) {
    if (machine_->root.find(device) == nullptr || machine_->root.list(target) == nullptr) {
        return Result::failure(ENOENT);
    }
    if (mounted.count(target) != 0) {
        return Result::failure(EBUSY);
    }
    const UsbDisk* disk = fileSystemOf(device);
    const bool mountable = disk != nullptr && (disk->mount == UsbDisk::Mount::works ||
                                               (byShell && disk->mount == UsbDisk::Mount::byShellOnly));
    if (!mountable || type != "vfat") {
        return Result::failure(EINVAL);
    }
    mounted[target] = device;
    return {};
}

Result UsbPorts::umount(const std::string& target) {
    return mounted.erase(target) != 0 ? Result{} : Result::failure(EINVAL);
}

std::optional<FileSystemStatus> UsbPorts::statfs(const std::string& path) const {
    if (machine_->root.list(path) == nullptr) {
        return std::nullopt;
    }
    const auto found = mounted.find(path);
    if (found == mounted.end()) {
        return mntFileSystem;
    }
    const UsbDisk* disk = fileSystemOf(found->second);
    return disk->queryFails ? std::nullopt : std::optional(disk->fileSystem);
}

// mkdir(1) and mount(8), as far as the tool needs them.
std::optional<int> UsbPorts::runCommand(const std::string& command) {
    std::istringstream stream(command);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    if (words.size() == 2 && words[0] == "mkdir") {
        const bool exists = machine_->root.exists(words[1]);
        machine_->root.addDirectory(words[1]);
        return exists ? 1 : 0;
    }
    if (words.size() == 5 && words[0] == "mount" && words[1] == "-t") {
        constexpr int mountFailure = 32;  // mount(8)
        return mount(words[3], words[4], words[2], true).error == 0 ? 0 : mountFailure;
    }
    return std::nullopt;
}

}  // namespace vboard
