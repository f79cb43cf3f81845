#include "vboard/kernel/call_texts.h"

#include <fcntl.h>

#include <algorithm>
#include <cstdio>

namespace vboard {

namespace {

std::string flagsText(std::int64_t flags) {
    std::string text = (flags & O_ACCMODE) == O_RDONLY   ? "O_RDONLY"
                       : (flags & O_ACCMODE) == O_WRONLY ? "O_WRONLY"
                                                         : "O_RDWR";
    text += (flags & O_NOCTTY) != 0 ? "|O_NOCTTY" : "";
    return text + ((flags & O_NONBLOCK) != 0 ? "|O_NONBLOCK" : "");
}

std::string hexNumber(std::uint64_t number) {
    char text[24];
    (void)std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(number));
    return text;
}

std::string secondsText(std::int64_t nanoseconds) {
    char text[32];
    (void)std::snprintf(text, sizeof text, "%.6gs", static_cast<double>(nanoseconds) / 1e9);
    return nanoseconds < 0 ? "for ever" : text;
}

}  // namespace

std::string textOf(const wire::Request& request, int n) {
    const char* at = reinterpret_cast<const char*>(request.data);
    const char* end = at + request.size;
    for (; n > 0 && at != end; --n) {
        at = std::find(at, end, '\0');
        at += at == end ? 0 : 1;
    }
    return std::string(at, std::find(at, end, '\0'));
}

void describeOpen(const wire::Request& request, const OpenFile*, TraceEntry& entry) {
    entry.arguments = flagsText(request.arguments[0]);
}

void describeOption(const wire::Request& request, const OpenFile*, TraceEntry& entry) {
    entry.option = static_cast<unsigned>(request.arguments[0]);
}

void describeAttributes(const wire::Request& request, const OpenFile* file, TraceEntry& entry) {
    describeOption(request, file, entry);
    describeSentBytes(request, file, entry);
}

void describeMount(const wire::Request& request, const OpenFile* file, TraceEntry& entry) {
    describeOption(request, file, entry);
    entry.arguments = "from " + textOf(request) + " type " + textOf(request, 2);
}

void describeSleep(const wire::Request& request, const OpenFile*, TraceEntry& entry) {
    entry.arguments = secondsText(request.arguments[0]);
}

void describeSelect(const wire::Request& request, const OpenFile*, TraceEntry& entry) {
    entry.arguments = "read " + hexNumber(static_cast<std::uint64_t>(request.arguments[0])) + " write " +
                      hexNumber(static_cast<std::uint64_t>(request.arguments[1])) + " " +
                      secondsText(request.arguments[2]);
}

void describeIoctl(const wire::Request& request, const OpenFile* file, TraceEntry& entry) {
    const auto code = static_cast<std::uint32_t>(request.arguments[0]);
    const RequestShape* known = file != nullptr ? findRequest(file->node->requests(), code) : nullptr;
    const bool isValue = known != nullptr && known->argument == ArgumentKind::value;
    entry.request = known == nullptr ? "ioctl " + hexNumber(code) : known->name;
    entry.arguments = isValue ? hexNumber(static_cast<std::uint64_t>(request.arguments[1])) : "";
    describeSentBytes(request, file, entry);
}

void describeSentBytes(const wire::Request& request, const OpenFile*, TraceEntry& entry) {
    entry.data.assign(request.data, request.data + request.size);
}

}  // namespace vboard
