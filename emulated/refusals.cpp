#include "emulated/refusals.h"

#include "emulated/hardware.h"

namespace emulated {

namespace {

using vboard::VirtualBoard;

// Collects what can't be done, in the scenario's own words.
class Refusals {
  public:
    void when(bool asked, const std::string& what) {
        if (asked) {
            found.push_back(what);
        }
    }
    std::vector<std::string> found;
};

void lookAtUsb(const VirtualBoard& board, Refusals& refusals) {
    const vboard::UsbPorts& usb = board.usb;
    refusals.when(!usb.order.empty(), "usb.order: the kernel lists /dev in an order of its own");
    refusals.when(usb.mice.size() > 3, "usb.mice: more than three");
    for (std::size_t i = 0; i < usb.mice.size(); ++i) {
        refusals.when(usb.mice[i] != "mouse" + std::to_string(i),
                      "usb.mice: the kernel counts mice from mouse0");
    }
    for (const auto& [name, disk] : usb.disks) {
        refusals.when(disk.partitions > 1, "usb.disk " + name + ": more than one partition");
        refusals.when(disk.mount == vboard::UsbDisk::Mount::byShellOnly,
                      "usb.disk " + name + ": a mount that works by shell only");
        refusals.when(disk.queryFails,
                      "usb.disk " + name + ": a mounted disk that can't be asked for its space");
        refusals.when(disk.fileSystem.blockBytes != 4096, "usb.disk " + name + ": blockBytes");
        refusals.when(disk.fileSystem.freeBlocks < 65526,
                      "usb.disk " + name + ": freeBlocks below FAT32's least");
    }
}

void lookAtDisks(const VirtualBoard& board, Refusals& refusals) {
    refusals.when(!board.chips.empty(),
                  "portMultiplier: the kernel's AHCI driver does not know that request");
    refusals.when(board.firmware.content.has_value(),
                  "firmwareImage: there is no port multiplier to write it to");
    for (const auto& [name, drive] : board.drives.drives) {
        refusals.when(drive.unsized, "drive " + name + ": one that does not tell its size");
    }
}

void lookAtRun(const VirtualBoard& board, Refusals& refusals) {
    refusals.when(!board.settings.interrupts.empty(), "run.interruptAt");
    refusals.when(board.settings.powerCutAfter.has_value(), "run.powerCutAfter");
    refusals.when(board.setuidError != 0, "run.setuidError");
    refusals.when(board.kernelRelease != VirtualBoard().kernelRelease,
                  "run.kernelRelease: the kernel is what it is");
    for (const vboard::Fault& fault : board.settings.faults) {
        refusals.when(!fault.request.starts_with("ZORIO_"),
                      "fault of " + fault.request + ": only the control device's requests fail by order");
    }
    refusals.when(!board.processes.procPresent, "processes.procPresent: the machine needs its /proc");
    for (const vboard::BoardProcess& process : board.processes.processes) {
        refusals.when(process.unreadable, "processes: one that is unreadable");
    }
    refusals.when(board.supervisor.reader == vboard::Supervisor::Reader::never,
                  "supervisor: a reader that never reads");
    refusals.when(board.supervisor.leavesAfter.has_value(), "supervisor.leavesAfter");
}

}  // namespace

std::vector<std::string> refusalsOf(const VirtualBoard& board) {
    Refusals refusals;
    lookAtRun(board, refusals);
    lookAtDisks(board, refusals);
    lookAtUsb(board, refusals);
    for (const auto& [name, card] : cardsOf(board)) {
        const vboard::NetworkInterface& interface = board.network.interfaces.at(name);
        refusals.when(card == nullptr,
                      "network.interface " + name + ": more than two cards at 1000, one at 100");
        refusals.when(card != nullptr && card->speed == 1000 && !interface.fullDuplex,
                      "network.interface " + name + ": half duplex at 1000");
    }
    refusals.when(board.rs485.line.receiveTrigger != 1,
                  "rs485.receiveTrigger: how many bytes the port hands over together is its own");
    refusals.when(board.rs485.corruptedByte != 0,
                  "rs485.corruptedByte: it spoils those that are handed over with it");
    return refusals.found;
}

}  // namespace emulated
