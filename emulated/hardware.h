#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "vboard/board.h"

namespace emulated {

// What a machine has from power on to power off: its drives, network cards, controllers, clock chip. A case
// whose board has no more than that can run on it.
class Hardware {
  public:
    explicit Hardware(const vboard::VirtualBoard& board);
    bool carries(const vboard::VirtualBoard& board) const;
    std::vector<std::string> arguments() const;  // of qemu

    // The place of a drive in the kernel's numbering of SATA ports, "ata1".
    std::string portOf(const std::string& drive) const;

  private:
    struct Drive {
        std::string identity;
        std::uint64_t sectors;
        bool operator==(const Drive&) const = default;
    };
    static std::map<std::string, Drive> drivesOf(const vboard::VirtualBoard& board);

    std::map<std::string, Drive> drives_;  // by name, in the order of their ports
    std::chrono::seconds epoch_;
};

// A network card of every machine.
struct NetworkCard {
    const char* id;
    const char* address;
    const char* model;
    unsigned speed;  // Mbit/s
};
constexpr NetworkCard networkCards[] = {
    {"card1", "52:54:00:00:00:01", "e1000e", 1000},
    {"card2", "52:54:00:00:00:02", "e1000e", 1000},
    {"card3", "52:54:00:00:00:03", "rtl8139", 100},
};

// The card for each of the board's interfaces; null where the machine has none left at that speed.
std::map<std::string, const NetworkCard*> cardsOf(const vboard::VirtualBoard& board);

// The kernel's own driver can't be this clock chip: the virtual board's model answers in user space.
bool hasModelOfClock(const vboard::VirtualBoard& board);

// What is plugged into the USB ports of a machine. What the next case needs as well stays plugged in.
class UsbPlugs {
  public:
    explicit UsbPlugs(std::filesystem::path folder) : folder_(std::move(folder)) {}

    // The QMP commands that change the machine into this board; makes the images of its disks in the folder.
    // Throws std::runtime_error when that fails.
    std::vector<std::string> change(const vboard::VirtualBoard& board);

    // The serial number by which a disk is known on the machine.
    const std::string& serialOf(const std::string& disk) const { return serials_.at(disk); }

    // A disk is in the USB 3.0 port. It is the first one's place where the board has a USB 3.0 device at all.
    bool hasUsb3() const { return plugs_.count(usb3Port) != 0; }

  private:
    static constexpr char usb3Port[] = "fast.0,port=1";

    struct Plug {
        std::string what;
        std::string id;
    };
    struct Wish {
        std::string what;
        const vboard::UsbDisk* disk;  // null: a mouse
        std::string name;
    };
    static std::map<std::string, Wish> wishesOf(const vboard::VirtualBoard& board);
    std::vector<std::string> plugIn(const std::string& port, const Wish& wish);

    std::filesystem::path folder_;
    std::map<std::string, Plug> plugs_;  // by port, "slow.0,port=1"
    std::map<std::string, std::string> serials_;
    unsigned count_ = 0;
};

}  // namespace emulated
