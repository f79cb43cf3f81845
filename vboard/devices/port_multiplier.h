#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "r8/contract/port_multiplier.h"
#include "vboard/devices/drives.h"
#include "vboard/devices/firmware_image.h"
#include "vboard/devices/spi_flash.h"
#include "vboard/kernel/machine.h"
#include "vboard/scenario/section.h"

namespace vboard {

// A JMB39X SATA port multiplier with its register file and its flash, and the disks behind it.
class PortMultiplier {
  public:
    // To set before a run.
    std::vector<std::string> disks;  // letters of "/dev/sd?", those that are plugged in
    std::map<std::uint32_t, std::uint8_t> registers = {{pmRegister::presence, pmPresence1}};
    std::int64_t requestValue = 0;  // what the SATA driver returns for a request that worked
    SpiFlash flash;

    // To look at after a run: its requests by control word.
    std::map<std::uint16_t, unsigned> requests;
    unsigned requestCount() const;

    void setRevision(std::uint8_t revision) { registers[pmRegister::revision] = revision; }
    void setBonding(std::uint8_t bonding);

    void configure(Section& section, const std::vector<std::uint8_t>* image);
    void powerUp();

    // The request pmprw: one record of ATA registers there and back.
    Result pmprw(const IoctlRequest& request);

  private:
    void configureFlash(Section& section, const std::vector<std::uint8_t>* image, std::uint8_t bonding);
    bool readRegister(std::uint32_t address, std::uint32_t& data) const;
    bool transfer(std::uint16_t control, std::uint32_t address, std::uint32_t& data);
};

// The port multipliers of the board and the drives behind them: with any chip, no drive is anywhere else.
class PortMultipliers : public Device {
  public:
    PortMultipliers(std::deque<PortMultiplier>& chips, Drives& drives, const FirmwareImageFile& image)
        : chips_(chips), drives_(drives), image_(image) {}

    const char* scenarioTable() const override { return "portMultiplier"; }
    void beginConfiguration() override { chips_.clear(); }  // a scenario's chips replace those of its base
    void configure(Section& section) override;              // one more chip
    void plugIn(Machine& machine) override;                 // before the drives

  private:
    std::deque<PortMultiplier>& chips_;
    Drives& drives_;
    const FirmwareImageFile& image_;
};

}  // namespace vboard
