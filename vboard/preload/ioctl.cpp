// ioctl(2): what an argument points to travels with the request, both ways.

#include <errno.h>
#include <linux/ethtool.h>
#include <linux/fs.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <stdarg.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "vboard/preload/connection.h"
#include "vboard/request_shapes.h"

using vboard::RequestShape;
using vboard::preload::Exchange;
using vboard::wire::Call;

namespace {

int askByValue(int descriptor, std::uint32_t request, void* value) {
    return static_cast<int>(
        Exchange(Call::ioctl, descriptor)
            .argument(0, request)
            .argument(1, static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(value)))
            .perform());
}

int askByAddress(int descriptor, std::uint32_t request, void* bytes, std::size_t size) {
    Exchange exchange(Call::ioctl, descriptor);
    const std::int64_t result = exchange.argument(0, request).data(bytes, size).perform();
    if (exchange.reply.size == size) {  // else nothing comes back
        memcpy(bytes, exchange.reply.data, size);
    }
    return static_cast<int>(result);
}

// Without a shape the argument may be an address of this process: the board gets the code and no argument.
int askWithoutShape(int descriptor, std::uint32_t request) {
    return static_cast<int>(Exchange(Call::ioctl, descriptor)
                                .argument(0, request)
                                .argument(2, vboard::wire::withoutShape)
                                .perform());
}

// The size of a block device: the kernel's widths differ, the wire's does not.
template <typename Size>
int askBlockSize(int descriptor, std::uint32_t request, Size* size) {
    std::uint64_t wide = 0;
    const int result = askByAddress(descriptor, request, &wide, sizeof wide);
    if (result == 0) {
        *size = static_cast<Size>(wide);
    }
    return result;
}

// The command record lies behind a pointer in the request: interface name and record travel as one.
int askEthtool(int descriptor, ifreq* request) {
    std::uint32_t command = 0;
    memcpy(&command, request->ifr_data, sizeof command);
    if (command != ETHTOOL_GLINK && command != ETHTOOL_GSET) {
        return askWithoutShape(descriptor, SIOCETHTOOL);
    }
    const std::size_t size = command == ETHTOOL_GLINK ? sizeof(ethtool_value) : sizeof(ethtool_cmd);
    std::uint8_t bytes[IFNAMSIZ + sizeof(ethtool_cmd)] = {};
    memcpy(bytes, request->ifr_name, IFNAMSIZ);
    memcpy(bytes + IFNAMSIZ, request->ifr_data, size);
    const int result = askByAddress(descriptor, SIOCETHTOOL, bytes, IFNAMSIZ + size);
    memcpy(request->ifr_data, bytes + IFNAMSIZ, size);
    return result;
}

// Null for a request that the board has no shape for.
const RequestShape* shapeOf(std::uint32_t request) {
    const std::span<const RequestShape> tables[] = {controlRequests, vboard::clockRequests,
                                                    vboard::driveRequests};
    for (const std::span<const RequestShape> table : tables) {
        if (const RequestShape* shape = vboard::findRequest(table, request)) {
            return shape;
        }
    }
    return nullptr;
}

int ask(int descriptor, unsigned long request, void* argument) {
    if (request == BLKGETSIZE) {
        return askBlockSize(descriptor, vboard::wire::blockSectors, static_cast<unsigned long*>(argument));
    }
    if (request == BLKGETSIZE64) {
        return askBlockSize(descriptor, vboard::wire::blockBytes, static_cast<std::uint64_t*>(argument));
    }
    if (request == SIOCETHTOOL) {
        return askEthtool(descriptor, static_cast<ifreq*>(argument));
    }
    const auto code = static_cast<std::uint32_t>(request);
    const RequestShape* shape = shapeOf(code);
    if (shape == nullptr) {
        return askWithoutShape(descriptor, code);
    }
    return shape->argument == ArgumentKind::value ? askByValue(descriptor, code, argument)
                                                  : askByAddress(descriptor, code, argument, shape->bytes);
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return vboard::preload::isHostDescriptor(descriptor)
               ? static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument))
               : ask(descriptor, request, argument);
}
