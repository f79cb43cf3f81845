#include "vboard/board.h"

#include <cstdlib>
#include <sstream>

namespace vboard {

namespace {

std::string environmentOr(const char* name, const char* otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : otherwise;
}

}  // namespace

ToolCommand defaultToolCommand() {
    ToolCommand command;
    command.program = environmentOr("VBOARD_TOOL", VBOARD_DEFAULT_TOOL);
    command.preload = environmentOr("VBOARD_PRELOAD", VBOARD_DEFAULT_PRELOAD);
    std::istringstream words(environmentOr("VBOARD_EMULATOR", VBOARD_DEFAULT_EMULATOR));
    for (std::string word; words >> word;) {
        command.emulator.push_back(word);
    }
    return command;
}

std::vector<Device*> VirtualBoard::devices() {
    std::vector<Device*> all = {&control, &rs485,    &panel,     &clockChip,     &network,   &drives,
                                &usb,     &firmware, &processes, &operatorInput, &supervisor};
    for (PortMultiplier& chip : chips) {
        all.push_back(&chip);
    }
    return all;
}

// On a board with port multipliers no drive is anywhere else.
void VirtualBoard::plugDrivesIntoChips() {
    for (auto& [name, drive] : drives.drives) {
        drive.wired = chips.empty();
        drive.portMultiplier = nullptr;  // of a chip that a former run had
    }
    for (PortMultiplier& chip : chips) {
        for (const std::string& letter : chip.disks) {
            Drive& drive = drives["sd" + letter];
            drive.wired = true;
            drive.portMultiplier = [&chip](const IoctlRequest& request) { return chip.pmprw(request); };
        }
    }
}

void VirtualBoard::plugInto(Machine& machine) {
    machine.epoch = epoch;
    machine.services.setuidError = setuidError;
    machine.services.kernelRelease = kernelRelease;
    plugDrivesIntoChips();
    for (Device* device : devices()) {
        device->plugIn(machine);
    }
}

Run VirtualBoard::run(const std::vector<std::string>& toolArguments) {
    ToolCommand command = defaultToolCommand();
    command.arguments = toolArguments;
    return run(command);
}

Run VirtualBoard::run(const ToolCommand& command) {
    Machine machine;
    plugInto(machine);
    Session session(machine, settings, operatorInput);
    Run run;
    static_cast<SessionResult&>(run) = session.run(command);
    run.writes = supervisor.writes;
    return run;
}

void VirtualBoard::configure(Section& section) {
    section.text("shows", shows);
    section.texts("arguments", arguments);
    const auto read = [&section](const char* key, const auto& configureDevice) {
        for (Section& part : section.sections(key)) {
            configureDevice(part);
            part.finish();
        }
    };
    read("run", [this](Section& part) { configureRun(part); });
    read("cpld", [this](Section& part) { control.configureCpld(part); });
    read("control", [this](Section& part) { control.configure(part); });
    read("alarm", [this](Section& part) { alarm.configure(part); });
    read("clockChip", [this](Section& part) { clockChip.configure(part); });
    read("network", [this](Section& part) { network.configure(part); });
    read("usb", [this](Section& part) { usb.configure(part); });
    read("drive", [this](Section& part) { drives.configure(part); });
    read("rs485", [this](Section& part) { rs485.configure(part); });
    read("panel", [this](Section& part) { panel.configure(part); });
    read("firmwareImage", [this](Section& part) { firmware.configure(part); });
    configureChips(section);
    read("processes", [this](Section& part) { processes.configure(part); });
    read("operator", [this](Section& part) { operatorInput.configure(part); });
    read("supervisor", [this](Section& part) { supervisor.configure(part); });
    read("fault", [this](Section& part) { configureFaults(part); });
}

// The chips of a scenario replace those of its base.
void VirtualBoard::configureChips(Section& section) {
    if (section.has("portMultiplier")) {
        chips.clear();
    }
    for (Section& part : section.sections("portMultiplier")) {
        chips.emplace_back().configure(part, firmware.content ? &*firmware.content : nullptr);
        part.finish();
    }
}

void VirtualBoard::configureRun(Section& section) {
    section.seconds("requestCost", settings.requestCost);
    if (settings.requestCost <= Time(0)) {
        section.fail("requestCost", "is more than 0, or a busy poll never ends");
    }
    section.seconds("timeLimit", settings.timeLimit);
    Time interrupt{-1};
    section.seconds("interruptAt", interrupt);
    if (interrupt.count() >= 0) {
        settings.interrupts.push_back(interrupt);
    }
    if (section.has("powerCutAfter")) {
        settings.powerCutAfter = 0;
        section.number("powerCutAfter", *settings.powerCutAfter);
    }
    if (section.has("setuidError")) {
        section.error("setuidError", setuidError);
    }
    section.text("kernelRelease", kernelRelease);
    std::int64_t start = epoch.count();
    section.number("epoch", start);
    epoch = std::chrono::seconds(start);
}

void VirtualBoard::configureFaults(Section& section) {
    Fault fault;
    section.text("request", fault.request);
    section.text("where", fault.where);
    section.number("nth", fault.nth);
    section.flag("fromThenOn", fault.fromThenOn);
    section.error("error", fault.error);
    if (fault.request.empty()) {
        section.fail("request", "is missing");
    }
    if (fault.nth == 0) {
        section.fail("nth", "counts from 1");
    }
    settings.faults.push_back(fault);
}

}  // namespace vboard
