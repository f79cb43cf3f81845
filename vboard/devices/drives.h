#pragma once

#include <functional>
#include <map>
#include <string>

#include "vboard/kernel/machine.h"
#include "vboard/scenario/section.h"

namespace vboard {

// A SATA drive behind its device node. Either size request alone fails by a fault of its name.
class Drive : public Node {
  public:
    std::string
        serial;  // plain texts; the drive fills them up with blanks and stores them in ATA's byte order
    std::string model;
    std::string firmware;
    std::uint64_t sectors = 1953525168;  // of 512 bytes

    bool absent = false;   // no node
    bool wired = true;     // to a port of this board, see VirtualBoard
    bool silent = false;   // refuses IDENTIFY DEVICE
    bool unsized = false;  // refuses both size requests

    // A port multiplier between the port and the drive answers "pmprw"; none: that request is unknown.
    std::function<Result(const IoctlRequest&)> portMultiplier;

    std::span<const RequestShape> requests() const override { return driveRequests; }
    Result ioctl(const IoctlRequest& request) override;

  private:
    Result driveCommand(std::span<std::uint8_t> registers) const;
};

// The drives on the SATA ports, internal and external.
class Drives : public Device {
  public:
    std::map<std::string, Drive> drives;  // by name, "sda" and "esda"

    Drive& operator[](const std::string& name) { return drives[name]; }

    const char* scenarioTable() const override { return "drive"; }
    void configure(Section& section) override;
    void plugIn(Machine& machine) override;
};

}  // namespace vboard
