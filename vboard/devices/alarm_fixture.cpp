#include "vboard/devices/alarm_fixture.h"

namespace vboard {

std::uint16_t AlarmFixture::inputs() const {
    unsigned active = stuckActive;
    for (std::size_t output = 0; output < wiring.size(); ++output) {
        if ((outputs >> output & 1) == 0) {
            continue;
        }
        for (const unsigned input : wiring[output]) {
            active |= 1U << (input - 1);
        }
    }
    return static_cast<std::uint16_t>(active & ~static_cast<unsigned>(stuckInactive));
}

void AlarmFixture::plugIn(Machine&) {
    initialized = false;
    outputs = 0;
}

void AlarmFixture::configure(Section& section) {
    constexpr unsigned outputCount = 8;
    constexpr unsigned inputCount = 16;
    section.each("wiring", [&](Section& wires) {
        wiring.assign(outputCount, {});
        for (unsigned output = 1; output <= outputCount; ++output) {
            const std::string key = "output" + std::to_string(output);
            wires.numbers(key, wiring[output - 1]);
            for (const unsigned input : wiring[output - 1]) {
                if (input < 1 || input > inputCount) {
                    wires.fail(key, "names inputs from 1 to 16");
                }
            }
        }
    });
    section.number("stuckActive", stuckActive);
    section.number("stuckInactive", stuckInactive);
}

}  // namespace vboard
