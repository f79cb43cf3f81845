#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "vboard/kernel/machine.h"
#include "vboard/scenario/section.h"

namespace vboard {

// A USB disk with one FAT file system: in each of its partitions, or in the whole disk when it has none.
struct UsbDisk {
    enum class Mount {
        works,
        byShellOnly,  // the system call fails, the mount command finds a way
        never,
    };

    unsigned partitions = 1;  // "msa1", "msa2", ... of the disk "msa"
    FileSystemStatus fileSystem = {4096, 4000000, 2000000};
    Mount mount = Mount::works;
    bool queryFails = false;  // statfs(2) of the mounted file system
    bool absent = false;
};

// What is plugged into the USB ports, and the mount table.
class UsbPorts : public Device {
  public:
    std::vector<std::string> mice;         // nodes in "/dev/input"
    std::map<std::string, UsbDisk> disks;  // by name, "msa"
    bool usb3 = false;                     // a device at root port 1 of bus 4
    std::vector<std::string> busEntries = {"usb1", "usb4",
                                           "1-1"};        // of "/sys/bus/usb/devices", beyond usb3's
    std::vector<std::string> order;                       // the first entries of "/dev", where it matters
    std::vector<std::string> mountPoints;                 // that are there already, names in "/mnt"
    FileSystemStatus mntFileSystem = {4096, 8192, 6024};  // that holds "/mnt" itself

    std::map<std::string, std::string> mounted;  // device by mount point; what the run left mounted

    const char* scenarioTable() const override { return "usb"; }
    void configure(Section& section) override;
    void plugIn(Machine& machine) override;

  private:
    const UsbDisk* fileSystemOf(const std::string& device) const;
    Result mount(const std::string& device, const std::string& target, const std::string& type, bool byShell);
    Result umount(const std::string& target);
    std::optional<FileSystemStatus> statfs(const std::string& path) const;
    std::optional<int> runCommand(const std::string& command);

    Machine* machine_ = nullptr;
    PresentNode node_;  // behind every mouse, disk and partition
};

}  // namespace vboard
