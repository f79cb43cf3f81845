#pragma once

#include "r8/contract/rs485_frames.h"

// The RS485 test device's reply to every command frame: the lead 0xAA and five fixed bytes. Messages go to
// standard output.

struct Rs485Reply {
    uint8_t bytes[rs485ReplyBytes];
};

enum class Rs485Lead {
    found,
    missing,       // another byte stood in its place, or nothing more came
    tooManyZeros,  // the line is stuck; with a message
};

// Reads from fd up to the lead, byte for byte and past at most 9 zero bytes. Any other byte is dropped; what
// follows it stays unread.
Rs485Lead FindRs485ReplyLead(int fd);

// Whether this is the expected reply; prints a message for each byte that is not.
bool MatchesRs485Reply(const Rs485Reply& reply);
