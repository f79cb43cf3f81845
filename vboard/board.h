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
#include "vboard/scenario.h"

namespace vboard {

// What a run of the tool showed; see SessionResult for the rest. Texts are UTF-8.
struct Run : SessionResult {
    std::vector<std::string> writes;  // what each write(2) on the named pipe brought, bytes

    bool exited() const;     // ended by itself, not by a signal
    int exitStatus() const;  // -1 when it did not
    int signal() const;      // that ended it, 0 for none

    std::string console() const { return decodeGbk(output); }  // standard output
    std::vector<std::string> records() const;                  // the texts of the records on the named pipe
    bool sawEndMarker() const;                                 // the last line of a full run, in either mode

    // The items that the summary of a full run calls failed, in its own words.
    std::vector<std::string> failedItems() const;

    // Every request of that name ("ZORIO_SET_BUZZER", "open", ...), and only there if a path is given.
    std::vector<TraceEntry> requests(const std::string& name, const std::string& where = "") const;
    int beeps() const;  // times that the buzzer was switched on
    bool anyRefused() const;

    // Strict: throws std::runtime_error on bytes that are no GBK text.
    static std::string decodeGbk(const std::string& bytes);
};

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
    ClockChip clockChip;
    Network network;
    UsbPorts usb;
    Drives drives;
    Rs485Bus rs485{rs485Switches};
    FrontPanel panel;
    FirmwareImageFile firmware;
    std::deque<PortMultiplier> chips;
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

    explicit VirtualBoard(const std::string& scenario) { loadScenario(*this, scenario); }
    static VirtualBoard healthy() { return VirtualBoard("healthy"); }

    // Runs the tool with these arguments; the other form says everything about the command.
    Run run(const std::vector<std::string>& toolArguments);
    Run run(const ToolCommand& command);

    void configure(Section& section);  // a whole scenario

  private:
    std::vector<Device*> devices();
    void plugDrivesIntoChips();
    void configureChips(Section& section);
    void configureFaults(Section& section);
    void configureRun(Section& section);
};

}  // namespace vboard
