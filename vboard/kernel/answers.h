#pragma once

#include <cstring>
#include <stdexcept>
#include <string>

#include "vboard/kernel/node.h"
#include "vboard/kernel/trace.h"
#include "vboard/wire.h"

namespace vboard {

// What a request came to, into its reply.
inline void put(wire::Reply& reply, const Result& result) {
    reply.result = result.value;
    reply.error = result.error;
    reply.signal = result.signal;
}

// The same, and the trace says when nobody knew the request.
inline void put(wire::Reply& reply, TraceEntry& entry, const Result& result) {
    put(reply, result);
    entry.refused = result.refused;
}

// Bytes that come back with a reply. Throws std::length_error for more than it can hold.
inline void putData(wire::Reply& reply, const void* bytes, std::size_t size) {
    if (size > wire::dataBytes) {
        throw std::length_error("the board has " + std::to_string(size) + " bytes for one reply");
    }
    reply.size = static_cast<std::uint32_t>(size);
    std::memcpy(reply.data, bytes, reply.size);
}

}  // namespace vboard
