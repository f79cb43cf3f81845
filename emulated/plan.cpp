#include "emulated/plan.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <stdexcept>

namespace emulated {

namespace {

namespace fs = std::filesystem;

using vboard::VirtualBoard;

constexpr unsigned portsOfController = 6;  // of an AHCI controller
constexpr std::uint64_t sectorBytes = 512;
constexpr std::uint64_t partitionStart = 2048;   // sectors
constexpr std::uint64_t reservedKibibytes = 16;  // in front of the file allocation tables
constexpr std::uint64_t clusterKibibytes = 4;
constexpr std::uint64_t entriesOfKibibyte = 256;  // of a file allocation table

void command(const std::string& text) {
    if (std::system(text.c_str()) != 0) {
        throw std::runtime_error("this failed: " + text);
    }
}

// A disk image with a FAT32 file system that has as many free clusters as the scenario says; sparse.
std::string makeUsbImage(const std::string& name, const vboard::UsbDisk& disk, const fs::path& folder) {
    const std::uint64_t clusters = disk.fileSystem.freeBlocks + 1;  // the root directory takes one
    const std::uint64_t table = (clusters + 2) / entriesOfKibibyte + 1;
    const std::uint64_t kibibytes = reservedKibibytes + 2 * table + clusters * clusterKibibytes;
    const std::uint64_t start = disk.partitions == 0 ? 0 : partitionStart;
    const std::string image = folder / (name + ".img");
    std::fclose(std::fopen(image.c_str(), "w"));
    fs::resize_file(image, start * sectorBytes + kibibytes * 1024);
    if (disk.partitions != 0) {
        command("echo start=" + std::to_string(start) + ",type=c | /usr/sbin/sfdisk -q --label dos " + image);
    }
    if (disk.mount != vboard::UsbDisk::Mount::never) {
        command("/usr/sbin/mkfs.vfat -F 32 -a -s 8 -R 32 -f 2 --offset " + std::to_string(start) + " " +
                image + " " + std::to_string(kibibytes) + " >/dev/null");
    }
    return image;
}

// Two fast controllers: buses 1 and 2, 3 and 4. What is on bus 4 is the USB 3.0 device.
void planUsb(const VirtualBoard& board, const fs::path& folder, Plan& plan) {
    const auto add = [&plan](const std::string& device) {
        plan.machine.insert(plan.machine.end(), {"-device", device});
    };
    add("qemu-xhci,id=slow,p2=8,p3=8");
    add("qemu-xhci,id=fast,p2=8,p3=8");
    unsigned port = 1;
    for (std::size_t i = 0; i < board.usb.mice.size(); ++i) {
        add("usb-mouse,bus=slow.0,port=" + std::to_string(port++));
        plan.guest.push_back("await test -e /dev/input/" + board.usb.mice[i]);
    }
    bool fast = board.usb.usb3;
    for (const auto& [name, disk] : board.usb.disks) {
        if (disk.absent) {
            continue;
        }
        const std::string image = makeUsbImage(name, disk, folder);
        plan.machine.insert(plan.machine.end(),
                            {"-drive", "if=none,format=raw,id=" + name + ",file=" + image});
        add("usb-storage,removable=on,serial=" + name + ",drive=" + name +
            ",bus=" + (fast ? "fast.0,port=1" : "slow.0,port=" + std::to_string(port++)));
        fast = false;
        plan.guest.push_back("disk " + name + " " + name + " " + std::to_string(disk.partitions));
    }
    const vboard::FileSystemStatus& mnt = board.usb.mntFileSystem;
    plan.guest.push_back("mountPoints " + std::to_string(mnt.blocks) + " " + std::to_string(mnt.freeBlocks));
    for (const std::string& name : board.usb.mountPoints) {
        plan.guest.push_back("mkdir /mnt/" + name);
    }
}

void planDrives(const VirtualBoard& board, Plan& plan) {
    unsigned count = 0;
    for (const auto& [name, drive] : board.drives.drives) {
        if (drive.absent || !drive.wired) {
            continue;
        }
        const std::string controller = "ahci" + std::to_string(count / portsOfController);
        if (count % portsOfController == 0) {
            plan.machine.insert(plan.machine.end(), {"-device", "ich9-ahci,id=" + controller});
        }
        plan.machine.insert(
            plan.machine.end(),
            {"-blockdev",
             "null-co,read-zeroes=on,node-name=" + name +
                 ",size=" + std::to_string(drive.sectors * sectorBytes),
             "-device",
             "ide-hd,bus=" + controller + "." + std::to_string(count % portsOfController) + ",drive=" + name +
                 ",serial=" + drive.serial + ",model=" + drive.model + ",ver=" + drive.firmware});
        plan.guest.push_back("disk ata" + std::to_string(++count) + " " + name + " 0");
    }
}

void planNetwork(const VirtualBoard& board, Plan& plan) {
    std::vector<std::string> up;
    int number = 0;
    for (const auto& [name, interface] : board.network.interfaces) {
        if (interface.missing) {
            continue;
        }
        const std::string address = "52:54:00:00:00:0" + std::to_string(++number);
        const std::string id = "net" + std::to_string(number);
        plan.machine.insert(plan.machine.end(),
                            {"-netdev", "user,restrict=on,id=" + id, "-device",
                             std::string(interface.speed == 100 ? "rtl8139" : "e1000e") +
                                 ",romfile=,netdev=" + id + ",id=" + name + ",mac=" + address});
        if (!interface.link) {
            plan.monitor.push_back("{\"execute\":\"set_link\",\"arguments\":{\"name\":\"" + name +
                                   "\",\"up\":false}}");
        }
        plan.guest.push_back("parkInterface " + address);
        up.push_back("interface " + address + " " + name + " " + (interface.link ? "1" : "0"));
    }
    plan.guest.insert(plan.guest.end(), up.begin(), up.end());
}

// The system's clock follows the chip's; the scenario's chip is ahead of the system. The fraction of a second
// is the machine's own.
void planClock(const VirtualBoard& board, Plan& plan) {
    const auto offset = std::chrono::floor<std::chrono::seconds>(board.clockChip.offset).count();
    const std::time_t epoch = board.epoch.count();
    std::tm parts = {};
    char base[32];
    (void)gmtime_r(&epoch, &parts);
    (void)std::strftime(base, sizeof base, "%Y-%m-%dT%H:%M:%S", &parts);
    plan.machine.insert(plan.machine.end(), {"-rtc", std::string("base=") + base});
    plan.guest.push_back("date -s @$(($(cat /sys/class/rtc/rtc0/since_epoch) - " + std::to_string(offset) +
                         ")) >/dev/null");
    if (board.clockChip.missing) {
        plan.guest.push_back("rm /dev/rtc0");
    }
}

void planProcesses(const VirtualBoard& board, bool networked, Plan& plan) {
    for (const vboard::BoardProcess& process : board.processes.processes) {
        if (!process.commandLine.empty() && process.commandLine[0] == "./vidapp") {
            plan.guest.push_back("mainApplication");
        }
    }
    if (board.supervisor.fifoPresent) {
        const bool read = networked && board.supervisor.reader == vboard::Supervisor::Reader::reads;
        plan.guest.push_back(std::string("reportPipe ") + (read ? "yes" : "no"));
    }
    if (board.operatorInput.closed) {
        plan.guest.push_back("closedInput=yes");
    }
}

}  // namespace

Plan makePlan(const VirtualBoard& board, const std::vector<std::string>& toolArguments,
              const fs::path& folder) {
    Plan plan;
    if (board.control.present) {
        plan.guest.push_back("controlDevice");
    }
    for (const auto& [present, node] :
         {std::pair{board.panel.present, "/dev/ttyS3"}, std::pair{board.rs485.present, "/dev/ttyS1"}}) {
        if (!present) {
            plan.guest.push_back(std::string("rm ") + node);
        }
    }
    planDrives(board, plan);
    planUsb(board, folder, plan);
    plan.guest.push_back("disksDone");
    planNetwork(board, plan);
    planClock(board, plan);
    planProcesses(board, !toolArguments.empty() && toolArguments.front() == "netR8test", plan);
    std::string run = "run r8";
    for (const std::string& argument : toolArguments) {
        run += " '" + argument + "'";
    }
    plan.guest.push_back(run);
    return plan;
}

}  // namespace emulated
