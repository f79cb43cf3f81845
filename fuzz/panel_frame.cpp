// Whatever the panel sends: a frame is only reported when it stands on the line, complete and with its
// checksum, and nothing behind it is read.

#include <algorithm>

#include "fuzz/input.h"
#include "r8/panel/panel_link.h"

namespace {

// Whether a valid frame of this value ends at offset end.
bool hasFrame(const std::uint8_t* data, std::size_t end, std::uint32_t value) {
    for (std::size_t length = 4; length <= 40 && length <= end; ++length) {
        const std::uint8_t* frame = data + end - length;
        std::uint8_t sum = 0;
        std::uint32_t read = 0;
        for (std::size_t i = 0; i < length - 1; ++i) {
            sum = static_cast<std::uint8_t>(sum + frame[i]);
            read = i < 2 ? 0 : read << 8 | frame[i];
        }
        if (frame[0] == 0xFF && frame[1] == length && frame[length - 1] == sum && read == value) {
            return true;
        }
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Line line(data, std::min(size, Line::mostBytes));
    const auto value = static_cast<std::uint32_t>(ReadPanelFrame(line.fd, 1, 0));
    const std::size_t consumed = std::min(size, Line::mostBytes) - line.rest().size();
    MUST(value == 0 || hasFrame(data, consumed, value));
    MUST(size == 0 || consumed > 0);
    return 0;
}
