#include "station/link/marker_scanner.h"

#include <algorithm>

namespace station {

namespace {

constexpr std::size_t longestMarker = 4096;

// How many of the last bytes could be the beginning of the mark.
std::size_t possibleBeginning(const std::string& bytes, const std::string& mark) {
    std::size_t length = std::min(bytes.size(), mark.size() - 1);
    while (length > 0 && !bytes.ends_with(mark.substr(0, length))) {
        --length;
    }
    return length;
}

}  // namespace

void MarkerScanner::passRest(std::size_t length, const Handler& onRest) {
    if (length > 0) {
        const std::string rest = pending_.substr(0, length);
        pending_.erase(0, length);
        onRest(rest);
    }
}

void MarkerScanner::feed(std::string_view bytes, const Handler& onMarker, const Handler& onRest) {
    pending_ += bytes;
    std::size_t begin;
    while ((begin = pending_.find(mark_)) != std::string::npos) {
        passRest(begin, onRest);
        const std::size_t end = pending_.find('\n');
        if (end == std::string::npos && pending_.size() <= longestMarker) {
            return;
        }
        if (end == std::string::npos || end > longestMarker) {
            passRest(mark_.size(), onRest);
            continue;
        }
        const std::string words = pending_.substr(mark_.size(), end - mark_.size());
        pending_.erase(0, end + 1);
        onMarker(words);
    }
    passRest(pending_.size() - possibleBeginning(pending_, mark_), onRest);
}

void MarkerScanner::finish(const Handler& onRest) {
    passRest(pending_.size(), onRest);
}

}  // namespace station
