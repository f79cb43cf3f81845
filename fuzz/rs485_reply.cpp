// Whatever is on the bus: exactly the reply passes, behind at most nine zero bytes, and no byte behind the
// lead is taken while looking for it.

#include "r8/serial/rs485_reply.h"

#include <algorithm>

#include "fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    size = std::min(size, Line::mostBytes);
    const std::uint8_t* end = data + size;
    const std::uint8_t* lead = std::find_if(data, end, [](std::uint8_t byte) { return byte != 0; });
    const bool isStuck = lead - data > 9;
    const bool isLead = !isStuck && lead != end && *lead == 0xAA;

    const Line line(data, size);
    const Rs485Lead found = FindRs485ReplyLead(line.fd);
    MUST((found == Rs485Lead::tooManyZeros) == isStuck);
    MUST((found == Rs485Lead::found) == isLead);
    const std::vector<std::uint8_t> rest = line.rest();
    MUST(isStuck || rest == std::vector<std::uint8_t>(lead + (lead != end ? 1 : 0), end));

    Rs485Reply reply = {{1, 1, 1, 1, 1}};
    std::copy_n(rest.begin(), std::min(rest.size(), rs485ReplyBytes), reply.bytes);
    const std::uint8_t expected[] = {0xBB, 0x20, 0x12, 0x11, 0x22};
    MUST(MatchesRs485Reply(reply) == std::equal(expected, expected + 5, reply.bytes));
    return 0;
}
