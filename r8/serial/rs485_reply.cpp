#include "r8/serial/rs485_reply.h"

#include <unistd.h>

#include "r8/print.h"

namespace {

constexpr int maxLeadingZeros = 9;  // the bus idles into zero bytes before the reply

}  // namespace

Rs485Lead FindRs485ReplyLead(int fd) {
    uint8_t byte = 0;
    int zeros = 0;
    while (byte == 0) {
        if (read(fd, &byte, 1) <= 0) {
            return Rs485Lead::missing;
        }
        if (byte == 0 && ++zeros > maxLeadingZeros) {
            print("read 0 more than 10 times, return false");
            return Rs485Lead::tooManyZeros;
        }
    }
    return byte == rs485ReplyLead ? Rs485Lead::found : Rs485Lead::missing;
}

bool MatchesRs485Reply(const Rs485Reply& reply) {
    bool matches = true;
    for (size_t i = 0; i < rs485ReplyBytes; ++i) {
        if (reply.bytes[i] != Rs485ExpectedReply[i]) {
            print("RS485匹配数据失败");
            matches = false;
        }
    }
    return matches;
}
