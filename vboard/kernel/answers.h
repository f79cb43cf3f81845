#pragma once

#include <algorithm>
#include <cstring>

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

// Bytes that come back with a reply, as many as it can hold.
inline void putData(wire::Reply& reply, const void* bytes, std::size_t size) {
    reply.size = static_cast<std::uint32_t>(std::min(size, wire::dataBytes));
    std::memcpy(reply.data, bytes, reply.size);
}

}  // namespace vboard
