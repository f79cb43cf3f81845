#include "station/link/record_framer.h"

#include <algorithm>

namespace station {

namespace {

constexpr std::size_t headerBytes = 8;
constexpr std::uint32_t longestText = 1023;

std::uint32_t wordAt(const std::string& bytes, std::size_t offset) {
    std::uint32_t word = 0;
    for (std::size_t i = 4; i-- > 0;) {
        word = word << 8 | static_cast<unsigned char>(bytes[offset + i]);
    }
    return word;
}

}  // namespace

void RecordFramer::feed(std::string_view bytes, const std::function<void(std::string_view)>& onText) {
    while (!garbage && !bytes.empty()) {
        const std::size_t wanted =
            pending.size() < headerBytes ? headerBytes : headerBytes + wordAt(pending, 4);
        const std::size_t taken = std::min(wanted - pending.size(), bytes.size());
        pending.append(bytes.substr(0, taken));
        bytes.remove_prefix(taken);
        if (pending.size() < headerBytes) {
            return;
        }
        garbage = wordAt(pending, 0) != 0 || wordAt(pending, 4) > longestText;
        if (!garbage && pending.size() == headerBytes + wordAt(pending, 4)) {
            const std::string_view text = std::string_view(pending).substr(headerBytes);
            garbage = text.find('\0') != text.npos;  // a wrong length swallowed the next header
            if (!garbage) {
                ++records;
                onText(text);
                pending.clear();
            }
        }
    }
}

}  // namespace station
