#include "vboard/devices/clock_chip.h"

#include <linux/rtc.h>

#include <cstring>
#include <ctime>

namespace vboard {

void ClockChip::configure(Section& section) {
    section.seconds("offset", offset);
    section.seconds("drift", drift);
    section.flag("unreadable", unreadable);
    section.flag("missing", missing);
}

void ClockChip::plugIn(Machine& machine) {
    machine_ = &machine;
    if (!missing) {
        machine.root.add("/dev/rtc0", *this);
    }
}

// Since the epoch, as the chip has it.
std::int64_t ClockChip::seconds() const {
    const std::chrono::duration<double> elapsed = machine_->clock.now();
    const Time gained(static_cast<std::int64_t>(elapsed.count() * static_cast<double>(drift.count())));
    return std::chrono::floor<std::chrono::seconds>(machine_->epoch + machine_->clock.now() + offset + gained)
        .count();
}

Result ClockChip::ioctl(const IoctlRequest& request) {
    if (unreadable) {
        return Result::failure(EIO);
    }
    const auto now = static_cast<std::time_t>(seconds());
    std::tm broken = {};
    (void)gmtime_r(&now, &broken);
    const rtc_time reading = {broken.tm_sec,  broken.tm_min,  broken.tm_hour,
                              broken.tm_mday, broken.tm_mon,  broken.tm_year,
                              broken.tm_wday, broken.tm_yday, 0};
    std::memcpy(request.data.data(), &reading, sizeof reading);
    return {};
}

}  // namespace vboard
