#include "emulated/hardware.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <set>
#include <stdexcept>

namespace emulated {

namespace {

namespace fs = std::filesystem;

using vboard::VirtualBoard;

constexpr std::size_t portsOfController = 6;  // of an AHCI controller
constexpr unsigned firstDiskPort = 4;         // of the slow USB controller; mice come before
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
void makeImage(const std::string& image, const vboard::UsbDisk& disk) {
    const std::uint64_t clusters = disk.fileSystem.freeBlocks + 1;  // the root directory takes one
    const std::uint64_t table = (clusters + 2) / entriesOfKibibyte + 1;
    const std::uint64_t kibibytes = reservedKibibytes + 2 * table + clusters * clusterKibibytes;
    const std::uint64_t start = disk.partitions == 0 ? 0 : partitionStart;
    std::fclose(std::fopen(image.c_str(), "w"));
    fs::resize_file(image, start * sectorBytes + kibibytes * 1024);
    if (disk.partitions != 0) {
        command("echo start=" + std::to_string(start) + ",type=c | /usr/sbin/sfdisk -q --label dos " + image);
    }
    if (disk.mount != vboard::UsbDisk::Mount::never) {
        command("/usr/sbin/mkfs.vfat -F 32 -a -s 8 -R 32 -f 2 --offset " + std::to_string(start) + " " +
                image + " " + std::to_string(kibibytes) + " >/dev/null");
    }
}

// {"execute":COMMAND,"arguments":{"NAME":"VALUE",...}}
std::string monitorCommand(const std::string& name,
                           const std::vector<std::pair<std::string, std::string>>& arguments) {
    std::string text;
    for (const auto& [key, value] : arguments) {
        text += (text.empty() ? "\"" : ",\"") + key + "\":\"" + value + "\"";
    }
    return "{\"execute\":\"" + name + "\",\"arguments\":{" + text + "}}";
}

}  // namespace

Hardware::Hardware(const VirtualBoard& board) : drives_(drivesOf(board)), epoch_(board.epoch) {}

std::map<std::string, Hardware::Drive> Hardware::drivesOf(const VirtualBoard& board) {
    std::map<std::string, Drive> drives;
    for (const auto& [name, drive] : board.drives.drives) {
        if (drive.wired && !drive.silent) {
            drives[name] = {"serial=" + drive.serial + ",model=" + drive.model + ",ver=" + drive.firmware,
                            drive.sectors};
        }
    }
    return drives;
}

bool Hardware::carries(const VirtualBoard& board) const {
    for (const auto& [name, drive] : drivesOf(board)) {
        const auto found = drives_.find(name);
        if (found == drives_.end() || found->second != drive) {
            return false;
        }
    }
    return board.epoch == epoch_;
}

std::string Hardware::portOf(const std::string& drive) const {
    return "ata" + std::to_string(std::distance(drives_.begin(), drives_.find(drive)) + 1);
}

// Two fast USB controllers: buses 1 and 2, 3 and 4. What is on bus 4 is the USB 3.0 device. The system's
// clock follows the chip's.
std::vector<std::string> Hardware::arguments() const {
    const std::time_t epoch = epoch_.count();
    std::tm parts = {};
    char base[40];
    (void)gmtime_r(&epoch, &parts);
    (void)std::strftime(base, sizeof base, "base=%Y-%m-%dT%H:%M:%S", &parts);
    std::vector<std::string> all = {
        "-rtc", base, "-device", "qemu-xhci,id=slow,p2=8,p3=8", "-device", "qemu-xhci,id=fast,p2=8,p3=8"};
    std::size_t count = 0;
    for (const auto& [name, drive] : drives_) {
        const std::string controller = "ahci" + std::to_string(count / portsOfController);
        if (count % portsOfController == 0) {
            all.insert(all.end(), {"-device", "ich9-ahci,id=" + controller});
        }
        const std::string size = std::to_string(drive.sectors * sectorBytes);
        const std::string bus = controller + "." + std::to_string(count++ % portsOfController);
        all.insert(all.end(), {"-blockdev", "null-co,read-zeroes=on,node-name=" + name + ",size=" + size,
                               "-device", "ide-hd,bus=" + bus + ",drive=" + name + "," + drive.identity});
    }
    for (const NetworkCard& card : networkCards) {
        const std::string id = card.id;
        all.insert(all.end(), {"-netdev", "user,restrict=on,id=of-" + id, "-device",
                               std::string(card.model) + ",romfile=,netdev=of-" + id + ",id=" + id +
                                   ",mac=" + card.address});
    }
    return all;
}

std::map<std::string, const NetworkCard*> cardsOf(const VirtualBoard& board) {
    std::map<std::string, const NetworkCard*> cards;
    std::set<const NetworkCard*> taken;
    for (const auto& [name, interface] : board.network.interfaces) {
        if (interface.missing) {
            continue;
        }
        cards[name] = nullptr;
        for (const NetworkCard& card : networkCards) {
            if (card.speed == interface.speed && taken.insert(&card).second) {
                cards[name] = &card;
                break;
            }
        }
    }
    return cards;
}

bool hasModelOfClock(const VirtualBoard& board) {
    return board.clockChip.unreadable || board.clockChip.drift.count() != 0;
}

std::map<std::string, UsbPlugs::Wish> UsbPlugs::wishesOf(const VirtualBoard& board) {
    std::map<std::string, Wish> wishes;
    unsigned port = 1;
    for (const std::string& mouse : board.usb.mice) {
        wishes["slow.0,port=" + std::to_string(port++)] = {"mouse", nullptr, mouse};
    }
    port = firstDiskPort;
    bool fast = board.usb.usb3;
    for (const auto& [name, disk] : board.usb.disks) {
        if (disk.absent) {
            continue;
        }
        const bool mountable = disk.mount != vboard::UsbDisk::Mount::never;
        const std::string what = name + " " + std::to_string(disk.partitions) + " " +
                                 std::to_string(disk.fileSystem.freeBlocks) + (mountable ? "" : " blank");
        wishes[fast ? usb3Port : "slow.0,port=" + std::to_string(port++)] = {what, &disk, name};
        fast = false;
    }
    return wishes;
}

std::vector<std::string> UsbPlugs::plugIn(const std::string& port, const Wish& wish) {
    const std::string id = "usb" + std::to_string(++count_);
    plugs_[port] = {wish.what, id};
    const std::string bus = port.substr(0, port.find(','));
    const std::string number = port.substr(port.find('=') + 1);
    if (wish.disk == nullptr) {
        return {monitorCommand("device_add",
                               {{"driver", "usb-mouse"}, {"id", id}, {"bus", bus}, {"port", number}})};
    }
    const std::string image = folder_ / (id + ".img");
    makeImage(image, *wish.disk);
    serials_[wish.name] = id;
    return {monitorCommand("blockdev-add",
                           {{"driver", "file"}, {"node-name", id + "-image"}, {"filename", image}}),
            monitorCommand("device_add", {{"driver", "usb-storage"},
                                          {"id", id},
                                          {"bus", bus},
                                          {"port", number},
                                          {"drive", id + "-image"},
                                          {"serial", id},
                                          {"removable", "on"}})};
}

std::vector<std::string> UsbPlugs::change(const VirtualBoard& board) {
    const std::map<std::string, Wish> wishes = wishesOf(board);
    std::vector<std::string> commands;
    std::erase_if(plugs_, [&](const auto& plug) {
        const auto wish = wishes.find(plug.first);
        if (wish != wishes.end() && wish->second.what == plug.second.what) {
            return false;
        }
        commands.push_back(monitorCommand("device_del", {{"id", plug.second.id}}));
        return true;
    });
    for (const auto& [port, wish] : wishes) {
        if (plugs_.count(port) == 0) {
            const std::vector<std::string> more = plugIn(port, wish);
            commands.insert(commands.end(), more.begin(), more.end());
        }
    }
    return commands;
}

}  // namespace emulated
