#include "vboard/devices/operator_input.h"

#include <algorithm>

namespace vboard {

void OperatorInput::configure(Section& section) {
    section.flag("closed", closed);
    section.each("types", [&](Section& entry) {
        TypedText typed{Time(0), "\n"};
        entry.seconds("at", typed.at);
        entry.text("text", typed.text);
        types.push_back(typed);
    });
}

void OperatorInput::plugIn(Machine& machine) {
    waiting_.clear();
    for (const TypedText& typed : types) {
        machine.clock.at(typed.at, [this, &typed] { waiting_ += typed.text; });
    }
}

// A terminal hands out one line at a time.
Result OperatorInput::read(OpenFile&, std::span<std::uint8_t> into) {
    const std::size_t line = std::min(waiting_.find('\n'), waiting_.size() - 1) + 1;
    const std::size_t count = std::min(waiting_.empty() ? 0 : line, into.size());
    std::copy_n(waiting_.begin(), count, into.begin());
    waiting_.erase(0, count);
    return {static_cast<std::int64_t>(count)};
}

}  // namespace vboard
