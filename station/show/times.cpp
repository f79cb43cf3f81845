#include "station/show/times.h"

#include <charconv>
#include <ctime>

namespace station {

namespace {

constexpr std::size_t longestTime = 64;

std::tm local(std::int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts = {};
    (void)localtime_r(&time, &parts);  // a year that no calendar has shows as 1900
    return parts;
}

std::optional<std::int64_t> beginOfDay(const std::string& text) {
    std::tm parts = {};
    const char* const end = strptime(text.c_str(), "%Y-%m-%d", &parts);
    if (end == nullptr || *end != '\0') {
        return std::nullopt;
    }
    parts.tm_isdst = -1;
    return std::mktime(&parts);
}

}  // namespace

std::string localTime(std::int64_t seconds) {
    const std::tm parts = local(seconds);
    char text[longestTime];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts)};
}

std::string zoneAt(std::int64_t seconds) {
    const std::tm parts = local(seconds);
    char text[longestTime];
    return {text, std::strftime(text, sizeof text, "%Z %z", &parts)};
}

std::string utcTime(std::int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts = {};
    (void)gmtime_r(&time, &parts);  // the same
    char text[longestTime];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

std::optional<std::int64_t> timeSince(std::string_view text, std::int64_t now) {
    constexpr std::int64_t most = 100'000;
    std::int64_t count = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    const std::string_view unit(end, static_cast<std::size_t>(text.data() + text.size() - end));
    const std::int64_t seconds = unit == "d" ? 86400 : unit == "h" ? 3600 : unit == "m" ? 60 : 0;
    if (error != std::errc{} || seconds == 0) {
        return beginOfDay(std::string(text));
    }
    return count < 0 || count > most ? std::nullopt : std::optional(now - count * seconds);
}

}  // namespace station
