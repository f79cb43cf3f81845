#include "vboard/kernel/clock.h"

#include <algorithm>

namespace vboard {

void Clock::at(Time moment, std::function<void()> event) {
    events_.emplace(std::make_pair(std::max(moment, now_), sequence_++), std::move(event));
}

void Clock::advance() {
    auto earliest = events_.extract(events_.begin());
    now_ = earliest.key().first;
    earliest.mapped()();
}

}  // namespace vboard
