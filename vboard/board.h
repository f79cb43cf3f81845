#pragma once

#include <deque>
#include <string>
#include <vector>

#include "vboard/devices/alarm_fixture.h"
#include "vboard/devices/clock_chip.h"
#include "vboard/devices/control_device.h"
#include "vboard/devices/drives.h"
#include "vboard/devices/firmware_image.h"
#include "vboard/devices/front_panel.h"
#include "vboard/devices/network.h"
#include "vboard/devices/operator_input.h"
#include "vboard/devices/port_multiplier.h"
#include "vboard/devices/processes.h"
#include "vboard/devices/rs485_bus.h"
#include "vboard/devices/rs485_switches.h"
#include "vboard/devices/supervisor.h"
#include "vboard/devices/usb_ports.h"
#include "vboard/kernel/machine.h"
#include "vboard/kernel/session.h"
#include "vboard/kernel/tool_process.h"
#include "vboard/run.h"

namespace vboard {

// How the launcher and the tests start the tool: from the environment (VBOARD_TOOL, VBOARD_PRELOAD,
// VBOARD_EMULATOR with words between blanks), else the tool of this build.
ToolCommand defaultToolCommand();

// A board with everything that is plugged into it. Build one, change its fields, run the tool on it, look at
// its fields. It can be run again: what the hardware keeps, it keeps.
class VirtualBoard {
  public:
    AlarmFixture alarm;
    Rs485Switches rs485Switches;
    ControlDevice control{alarm, rs485Switches};
    BoardDescription description{control};
    ClockChip clockChip;
    Network network;
    UsbPorts usb;
    Drives drives;
    Rs485Bus rs485{rs485Switches};
    FrontPanel panel;
    FirmwareImageFile firmware;
    std::deque<PortMultiplier> chips;
    PortMultipliers portMultipliers{chips, drives, firmware};
    Processes processes;
    OperatorInput operatorInput;
    Supervisor supervisor;
    std::chrono::seconds epoch{1238745600};  // 2009-04-03 08:00:00 UTC
    int setuidError = 0;                     // errno of setuid(2), 0 for success
    std::string kernelRelease = "2.6.24";    // as uname(2) tells it
    RunSettings settings;
    std::string shows;                   // what the scenario shows, one line
    std::vector<std::string> arguments;  // of the tool, unless the caller names others

    VirtualBoard() = default;
    VirtualBoard(const VirtualBoard&) = delete;
    VirtualBoard& operator=(const VirtualBoard&) = delete;

    // As loadScenario sets it up (scenario/scenario.h).
    explicit VirtualBoard(const std::string& scenario);
    static VirtualBoard healthy() { return VirtualBoard("healthy"); }

    // Runs the tool with these arguments; the other form says everything about the command.
    Run run(const std::vector<std::string>& toolArguments);
    Run run(const ToolCommand& command);

    void configure(Section& section);  // a whole scenario

    // Puts everything into the board, as run does first.
    void plugInto(Machine& machine);

  private:
    std::vector<Device*> devices();
    void configureFaults(Section& section);
    void configureRun(Section& section);
};

}  // namespace vboard
