#pragma once

// Cuts the stream of the report pipe into its records, however the bytes arrive.
//
// A record, little-endian:
//   0  4 bytes  reserved, always 0
//   4  4 bytes  length of the text in bytes, 0..1023
//   8  length   the text (GBK, line breaks included), no NUL

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace station {

struct RecordFramer {
    std::string pending;   // the record under way, never more than 1031 bytes
    bool garbage = false;  // a record that no tool writes came: nothing behind it can be framed
    std::uint64_t records = 0;

    // Calls onText with the text (GBK, as it came) of each record that these bytes complete, in their order.
    // Bytes behind garbage are dropped.
    void feed(std::string_view bytes, const std::function<void(std::string_view)>& onText);

    // At the end of the stream: it broke off inside a record, or held garbage.
    bool torn() const { return garbage || !pending.empty(); }
};

}  // namespace station
