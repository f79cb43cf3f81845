#pragma once

// Times as people and programs read them.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace station {

// "2026-11-24 00:30:08" in the zone of this machine.
std::string localTime(std::int64_t seconds);

// What that zone is called at that time, with its distance from UTC: "CST +0800".
std::string zoneAt(std::int64_t seconds);

// "2026-11-24T00:30:08Z".
std::string utcTime(std::int64_t seconds);

// The time so long before now: "7d", "12h", "90m", or the begin of a day here, "2026-11-24"; none for
// anything else.
std::optional<std::int64_t> timeSince(std::string_view text, std::int64_t now);

}  // namespace station
