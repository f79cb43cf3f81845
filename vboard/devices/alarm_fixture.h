#pragma once

#include <cstdint>
#include <vector>

#include "vboard/kernel/machine.h"
#include "vboard/scenario/section.h"

namespace vboard {

// The alarm lines and the test station's fixture that wires outputs back to inputs.
class AlarmFixture : public Device {
  public:
    // wiring[k]: the inputs, counted from 1, that output k + 1 drives. No entry: nothing is connected.
    std::vector<std::vector<unsigned>> wiring;
    std::uint16_t stuckActive = 0;    // bit i: input i + 1 always reads active
    std::uint16_t stuckInactive = 0;  // bit i: input i + 1 never does

    bool initialized = false;
    std::uint8_t outputs = 0;  // bit k: output k + 1 is on

    std::uint16_t inputs() const;

    const char* scenarioTable() const override { return "alarm"; }
    void configure(Section& section) override;
    void plugIn(Machine& machine) override;
};

}  // namespace vboard
