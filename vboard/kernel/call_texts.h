#pragma once

// What the trace says of a request's arguments, a procedure for each libc call that has any worth telling.

#include <string>

#include "vboard/kernel/node.h"
#include "vboard/kernel/trace.h"
#include "vboard/wire.h"

namespace vboard {

// The n-th text of a request's data, each ended by a NUL; empty when there are fewer.
std::string textOf(const wire::Request& request, int n = 0);

// file: what is behind the request's descriptor, null when it is not open.
using DescribeCall = void(const wire::Request& request, const OpenFile* file, TraceEntry& entry);

DescribeCall describeOpen;
DescribeCall describeOption;
DescribeCall describeAttributes;
DescribeCall describeMount;
DescribeCall describeSleep;
DescribeCall describeSelect;
DescribeCall describeIoctl;  // its name takes the place of the call's
DescribeCall describeSentBytes;

}  // namespace vboard
