#pragma once

#include "vboard/kernel/machine.h"
#include "vboard/scenario/section.h"

namespace vboard {

// The battery-backed clock chip at "/dev/rtc0", read through the kernel's RTC interface (rtc(4)): whole
// seconds, UTC.
class ClockChip : public Device, public Node {
  public:
    Time offset{0};           // ahead of the system time at the start of the run; the fraction is its phase
    Time drift{0};            // gained in each second
    bool unreadable = false;  // there, but each reading fails
    bool missing = false;     // no such node

    const char* scenarioTable() const override { return "clockChip"; }
    void configure(Section& section) override;
    void plugIn(Machine& machine) override;
    std::span<const RequestShape> requests() const override { return clockRequests; }
    Result ioctl(const IoctlRequest& request) override;

  private:
    std::int64_t seconds() const;

    const Machine* machine_ = nullptr;
};

}  // namespace vboard
