#pragma once

// What there is to know of a libc call before it is answered.

#include <string>

#include "vboard/kernel/node.h"
#include "vboard/kernel/trace.h"
#include "vboard/wire.h"

namespace vboard {

struct CallTraits {
    const char* name;
    bool canFail;  // a fault may strike it, and a power cut counts it
    bool hasPath;  // the first text of its data; of mount the second
};

const CallTraits& traitsOf(wire::Call call);

// The n-th text of a request's data, each ended by a NUL; empty when there are fewer.
std::string textOf(const wire::Request& request, int n = 0);

// Tells the trace what was asked. file: what is behind the request's descriptor, null when it is not open.
void describeCall(const wire::Request& request, const OpenFile* file, TraceEntry& entry);

}  // namespace vboard
