#include "vboard/kernel/call_traits.h"

#include <fcntl.h>

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace vboard {

namespace {

using wire::Call;

// In the order of the calls' numbers.
constexpr CallTraits callTraits[] = {
    {"pthread_create", true, false}, {"fork", true, false},      {"sleep", false, false},
    {"setuid", true, false},         {"system", true, true},     {"chdir", false, true},
    {"access", true, true},          {"mkdir", true, true},      {"mount", true, true},
    {"umount", true, true},          {"statfs", true, true},     {"uname", true, false},
    {"socket", true, false},         {"open", true, true},       {"opendir", true, true},
    {"readdir", false, false},       {"close", false, false},    {"read", true, false},
    {"pread", true, false},          {"write", true, false},     {"lseek", true, false},
    {"fdatasync", true, false},      {"ioctl", true, false},     {"select", false, false},
    {"tcgetattr", true, false},      {"tcsetattr", true, false}, {"tcdrain", true, false},
    {"tcflush", false, false},
};
static_assert(std::size(callTraits) == wire::callCount, "a new call needs its traits");

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

const CallTraits& traitsOf(Call call) {
    return callTraits[static_cast<std::size_t>(call)];
}

std::string textOf(const wire::Request& request, int n) {
    const char* at = reinterpret_cast<const char*>(request.data);
    const char* end = at + request.size;
    for (; n > 0 && at != end; --n) {
        at = std::find(at, end, '\0');
        at += at == end ? 0 : 1;
    }
    return std::string(at, std::find(at, end, '\0'));
}

void describeCall(const wire::Request& request, const OpenFile* file, TraceEntry& entry) {
    entry.request = traitsOf(request.call).name;
    if (traitsOf(request.call).hasPath) {
        entry.where = textOf(request, request.call == Call::mount ? 1 : 0);
    } else if (request.descriptor != -1) {
        entry.where = file != nullptr ? file->path : "descriptor " + std::to_string(request.descriptor);
    }
    switch (request.call) {
        case Call::open:
            entry.arguments = flagsText(request.arguments[0]);
            break;
        case Call::mount:
            entry.arguments = "from " + textOf(request) + " type " + textOf(request, 2);
            break;
        case Call::sleep:
            entry.arguments = secondsText(request.arguments[0]);
            break;
        case Call::select:
            entry.arguments = "read " + hexNumber(static_cast<std::uint64_t>(request.arguments[0])) +
                              " write " + hexNumber(static_cast<std::uint64_t>(request.arguments[1])) + " " +
                              secondsText(request.arguments[2]);
            break;
        case Call::ioctl: {
            const auto code = static_cast<std::uint32_t>(request.arguments[0]);
            const RequestShape* known = file != nullptr ? findRequest(file->node->requests(), code) : nullptr;
            entry.request = known == nullptr ? "ioctl " + hexNumber(code) : known->name;
            const bool isValue = known != nullptr && known->argument == ArgumentKind::value;
            entry.arguments = isValue ? hexNumber(static_cast<std::uint64_t>(request.arguments[1])) : "";
            entry.data.assign(request.data, request.data + request.size);
            break;
        }
        case Call::tcsetattr:
        case Call::write:
            entry.data.assign(request.data, request.data + request.size);
            break;
        default:
            break;
    }
}

}  // namespace vboard
