#pragma once

#include <array>
#include <map>
#include <string>
#include <vector>

#include "r8/contract/boot_record.h"
#include "r8/contract/control_requests.h"
#include "r8/contract/cpld_record.h"
#include "vboard/devices/alarm_fixture.h"
#include "vboard/devices/rs485_switches.h"
#include "vboard/kernel/machine.h"
#include "vboard/scenario/section.h"

namespace vboard {

// "/dev/zorio" and its driver: board description, boot parameters, watchdog, buzzer, indicator, resets; the
// alarm and RS485 requests are handed on to who is wired there.
class ControlDevice : public Device, public Node {
  public:
    // To set before a run.
    bool present = true;
    CpldInfo cpld = {};
    BootParams bootParams = {};
    std::uint32_t stepGate = 0;
    std::int8_t chipTemperature = 45;  // degrees Celsius
    std::map<unsigned, std::vector<std::uint8_t>>
        answers;  // of a request's code, instead of the device's own

    // To look at after a run.
    bool buzzerOn = false;
    std::uint64_t watchdogTimeout = 0;  // in the driver's unit
    std::uint64_t gpioOutputs = 0;      // bit n: line n was made an output
    std::uint64_t gpioLevels = 0;
    std::vector<std::uint64_t> resetGroups;  // port-multiplier groups in the order of their resets

    ControlDevice(AlarmFixture& alarm, Rs485Switches& rs485) : alarm_(alarm), rs485_(rs485) {}

    void setCpld(CpldField field, unsigned value);
    void setBoardTypeCode(std::uint16_t code);
    void setMacAddress(int card, const std::array<std::uint8_t, macAddressBytes>& address);  // card 0 or 1

    const char* scenarioTable() const override { return "control"; }
    void configure(Section& section) override;

    void plugIn(Machine& machine) override;
    std::span<const RequestShape> requests() const override { return controlRequests; }
    Result ioctl(const IoctlRequest& request) override;

  private:
    struct Procedures;

    AlarmFixture& alarm_;
    Rs485Switches& rs485_;
};

// The board description in the control device's CPLD, field by field.
class BoardDescription : public Device {
  public:
    explicit BoardDescription(ControlDevice& control) : control_(control) {}

    const char* scenarioTable() const override { return "cpld"; }
    void configure(Section& section) override;
    void plugIn(Machine&) override {}

  private:
    ControlDevice& control_;
};

}  // namespace vboard
