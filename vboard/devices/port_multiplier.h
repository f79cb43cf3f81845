#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "r8/contract/port_multiplier.h"
#include "vboard/devices/spi_flash.h"
#include "vboard/kernel/machine.h"
#include "vboard/scenario/section.h"

namespace vboard {

// A JMB39X SATA port multiplier with its register file and its flash, and the disks behind it.
class PortMultiplier : public Device {
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

    void configure(Section& section, const std::vector<std::uint8_t>* image);  // [[portMultiplier]]
    void plugIn(Machine& machine) override;

    // The request pmprw: one record of ATA registers there and back.
    Result pmprw(const IoctlRequest& request);

  private:
    void configureFlash(Section& section, const std::vector<std::uint8_t>* image, std::uint8_t bonding);
    bool readRegister(std::uint32_t address, std::uint32_t& data) const;
    bool transfer(std::uint16_t control, std::uint32_t address, std::uint32_t& data);
};

}  // namespace vboard
