#include "emulated/plan.h"

namespace emulated {

namespace {

using vboard::VirtualBoard;

void planNodes(const VirtualBoard& board, Plan& plan) {
    for (const auto& [present, node] :
         {std::pair{board.control.present, "/dev/zorio"}, std::pair{board.panel.present, "/dev/ttyS3"},
          std::pair{board.rs485.present, "/dev/ttyS1"}, std::pair{!board.clockChip.missing, "/dev/rtc0"}}) {
        if (!present) {
            plan.guest.push_back(std::string("rm ") + node);
        }
    }
    if (hasModelOfClock(board)) {
        plan.guest.push_back("node /dev/rtc0 cuse/clock");
    }
}

void planDrives(const VirtualBoard& board, const Hardware& hardware, Plan& plan) {
    for (const auto& [name, drive] : board.drives.drives) {
        if (drive.absent || !drive.wired) {
            continue;
        }
        plan.guest.push_back(drive.silent ? "silentDisk " + name
                                          : "disk " + hardware.portOf(name) + " " + name + " 0");
    }
}

void planUsb(const VirtualBoard& board, UsbPlugs& plugs, Plan& plan) {
    plan.monitor = plugs.change(board);
    plan.guest.push_back("mice " + std::to_string(board.usb.mice.size()));
    plan.guest.push_back(std::string("usb3 ") + (plugs.hasUsb3() ? "yes" : "no"));
    for (const auto& [name, disk] : board.usb.disks) {
        if (!disk.absent) {
            plan.guest.push_back("disk " + plugs.serialOf(name) + " " + name + " " +
                                 std::to_string(disk.partitions));
        }
    }
    plan.guest.push_back("disksDone");
    const vboard::FileSystemStatus& mnt = board.usb.mntFileSystem;
    plan.guest.push_back("mountPoints " + std::to_string(mnt.blocks) + " " + std::to_string(mnt.freeBlocks));
    for (const std::string& name : board.usb.mountPoints) {
        plan.guest.push_back("mkdir /mnt/" + name);
    }
}

void planNetwork(const VirtualBoard& board, Plan& plan) {
    std::string all = "network";
    std::vector<std::string> duplex;  // only a card that is up can be told
    for (const auto& [name, card] : cardsOf(board)) {
        const vboard::NetworkInterface& interface = board.network.interfaces.at(name);
        plan.monitor.push_back("{\"execute\":\"set_link\",\"arguments\":{\"name\":\"" +
                               std::string(card->id) + "\",\"up\":" + (interface.link ? "true" : "false") +
                               "}}");
        all += " " + std::string(card->address) + "," + name + "," + (interface.link ? "1" : "0");
        if (card->speed == 100) {
            duplex.push_back("duplex " + name + (interface.fullDuplex ? " full" : " half"));
        }
    }
    plan.guest.push_back(all);
    plan.guest.insert(plan.guest.end(), duplex.begin(), duplex.end());
}

// The system's clock follows the chip's, which is ahead of it by so much in the scenario. A chip that only
// the model can be keeps the scenario's time from the start on.
void planClock(const VirtualBoard& board, Plan& plan) {
    const double offset = std::chrono::duration<double>(board.clockChip.offset).count();
    plan.guest.push_back(hasModelOfClock(board)
                             ? "date -s @" + std::to_string(board.epoch.count()) + " >/dev/null"
                             : "systemClock " + std::to_string(offset));
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

Plan makePlan(const VirtualBoard& board, const Case& which, const Hardware& hardware, UsbPlugs& plugs) {
    Plan plan;
    plan.guest.push_back("resetBoard");
    planDrives(board, hardware, plan);
    planUsb(board, plugs, plan);
    planNetwork(board, plan);
    planNodes(board, plan);
    planProcesses(board, which.command.find("netR8test") != std::string::npos, plan);
    planClock(board, plan);
    if (!which.sshKey.empty()) {
        plan.guest.push_back("sshServer '" + which.sshKey + "'");
    }
    plan.guest.push_back("run " + which.command);
    return plan;
}

}  // namespace emulated
