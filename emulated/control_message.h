#pragma once

#include <cstdint>

namespace emulated {

// One request on the control device, and its answer in the same shape, between the emulated machine and the
// host. Both are little-endian. The answer's value is the request's result.
struct ControlMessage {
    std::uint32_t code;
    std::uint32_t process;  // that asks, in the machine's own numbers
    std::uint32_t value;    // the argument, if it is no address
    std::uint32_t size;     // of data: what the argument points to
    std::int32_t error;     // errno, 0 for success
    std::uint8_t data[256];
};
static_assert(sizeof(ControlMessage) == 276, "the same on both sides");

}  // namespace emulated
