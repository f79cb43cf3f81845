#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "vboard/kernel/machine.h"
#include "vboard/scenario/section.h"

namespace vboard {

// A port-multiplier firmware image with a right header and content drawn from the seed. The header of 32
// bytes is cut when the size (bytes) is smaller.
std::vector<std::uint8_t> firmwareImage(std::uint32_t size, std::uint8_t revision, std::uint8_t bonding,
                                        unsigned seed = 1);

// The image file that the board carries for its port multipliers.
class FirmwareImageFile : public Device {
  public:
    std::optional<std::vector<std::uint8_t>> content;  // none: there is no file

    const char* scenarioTable() const override { return "firmwareImage"; }
    void configure(Section& section) override;
    void plugIn(Machine& machine) override;

  private:
    File file_;
};

}  // namespace vboard
