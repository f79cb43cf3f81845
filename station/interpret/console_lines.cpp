#include "station/interpret/console_lines.h"

#include <algorithm>
#include <utility>

namespace station {

namespace {

constexpr std::size_t longestConsoleLine = 4096;

}  // namespace

void ConsoleLines::feed(std::string_view bytes, const OnLine& onLine) {
    pending += bytes;
    std::string_view left = pending;
    std::size_t lineEnd;
    while ((lineEnd = std::min(left.find('\n'), longestConsoleLine)) < left.size()) {
        const bool isCut = left[lineEnd] != '\n';
        onLine(decode(left.substr(0, lineEnd)), isCut);
        left.remove_prefix(lineEnd + (isCut ? 0 : 1));
    }
    pending.erase(0, pending.size() - left.size());
}

void ConsoleLines::finish(const OnLine& onLine) {
    if (!pending.empty()) {
        onLine(decode(std::exchange(pending, {})), false);
    }
}

}  // namespace station
