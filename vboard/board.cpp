#include "vboard/board.h"

#include <cstdlib>
#include <sstream>

#include "host/own_files.h"

namespace vboard {

namespace {

std::string environmentOr(const char* name, const std::string& otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : otherwise;
}

}  // namespace

ToolCommand defaultToolCommand() {
    ToolCommand command;
    command.program = environmentOr("VBOARD_TOOL", host::ownFile(VBOARD_WAY_TO_TOOL));
    command.preload = environmentOr("VBOARD_PRELOAD", host::ownFile(VBOARD_WAY_TO_PRELOAD));
    std::istringstream words(environmentOr("VBOARD_EMULATOR", VBOARD_DEFAULT_EMULATOR));
    for (std::string word; words >> word;) {
        command.emulator.push_back(word);
    }
    return command;
}

// In the order in which they are configured and plugged in: who needs another one comes behind it.
std::vector<Device*> VirtualBoard::devices() {
    return {&control,  &description,     &alarm,  &rs485, &panel,     &clockChip,     &network,
            &firmware, &portMultipliers, &drives, &usb,   &processes, &operatorInput, &supervisor};
}

void VirtualBoard::plugInto(Machine& machine) {
    machine.epoch = epoch;
    machine.services.setuidError = setuidError;
    machine.services.kernelRelease = kernelRelease;
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
    section.each("run", [&](Section& part) { configureRun(part); });
    for (Device* device : devices()) {
        if (section.has(device->scenarioTable())) {
            device->beginConfiguration();
        }
        section.each(device->scenarioTable(), [&](Section& part) { device->configure(part); });
    }
    section.each("fault", [&](Section& part) { configureFaults(part); });
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
        readErrorNumber(section, "setuidError", setuidError);
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
    readErrorNumber(section, "error", fault.error);
    if (fault.request.empty()) {
        section.fail("request", "is missing");
    }
    if (fault.nth == 0) {
        section.fail("nth", "counts from 1");
    }
    settings.faults.push_back(fault);
}

}  // namespace vboard
