#include "vboard/kernel/trace.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace vboard {

namespace {

constexpr std::size_t shownBytes = 64;  // of the data of one request
constexpr int highestError = 133;

std::string timeText(Time at) {
    char text[32];
    (void)std::snprintf(text, sizeof text, "%12.6f", static_cast<double>(at.count()) / 1e9);
    return text;
}

}  // namespace

std::string TraceEntry::text() const {
    const auto shown = [](std::string text) {  // a shell command ends in a line break
        return text.ends_with('\n') ? text.substr(0, text.size() - 1) : text;
    };
    std::string line = timeText(at) + " " + task + "  " + request;
    for (const std::string& part : {where, arguments}) {
        line += part.empty() ? "" : " " + shown(part);
    }
    line += " = " + std::to_string(result);
    if (error != 0) {
        line += " " + errorName(error);
    }
    if (!data.empty()) {
        line += " [" + hexText(data.data(), std::min(data.size(), shownBytes)) +
                (data.size() > shownBytes ? " ...]" : "]");
    }
    return line + (refused ? " REFUSED: unknown to the board" : "");
}

std::string toText(const Trace& trace) {
    std::string text;
    for (const TraceEntry& entry : trace) {
        text += entry.text() + "\n";
    }
    return text;
}

std::string hexText(const std::uint8_t* bytes, std::size_t size) {
    constexpr char digits[] = "0123456789ABCDEF";  // every request passes here: no printf
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        text += i == 0 ? "" : " ";
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0xF];
    }
    return text;
}

std::string errorName(int error) {
    const char* name = strerrorname_np(error);
    return name != nullptr ? name : std::to_string(error);
}

int errorNumber(std::string_view name) {
    for (int error = 1; error <= highestError; ++error) {
        if (errorName(error) == name) {
            return error;
        }
    }
    return 0;
}

}  // namespace vboard
