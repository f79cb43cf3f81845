#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <utility>

namespace vboard {

using Time = std::chrono::nanoseconds;  // since the start of the run

// Virtual time with the events that are due. Time passes only in advance(); events of the same moment happen
// in the order in which they were ordered, so a run is the same every time.
class Clock {
  public:
    Time now() const { return now_; }

    // Orders an event for a moment, not before now.
    void at(Time moment, std::function<void()> event);
    void after(Time delay, std::function<void()> event) { at(now_ + delay, std::move(event)); }

    bool hasEvents() const { return !events_.empty(); }
    Time nextEvent() const { return events_.begin()->first.first; }

    // Goes to the earliest event and lets it happen.
    void advance();

  private:
    Time now_{0};
    std::uint64_t sequence_ = 0;
    std::map<std::pair<Time, std::uint64_t>, std::function<void()>> events_;
};

}  // namespace vboard
