// Reading directories: the libc calls, sent to the virtual board instead of the kernel.

#include <dirent.h>
#include <stddef.h>
#include <string.h>

#include <algorithm>

#include "vboard/preload/connection.h"

using vboard::preload::Exchange;
using vboard::wire::Call;

#pragma GCC visibility push(default)
extern "C" {

// The kernel hands out as many entries as fit; one at a time is as good, and each shows in the trace when it
// is asked for. A name is what is read of an entry.
ssize_t getdents64(int descriptor, void* buffer, size_t size) noexcept {
    Exchange exchange(Call::readdir, descriptor);
    const auto result = static_cast<ssize_t>(exchange.perform());
    if (result != 1) {
        return result;
    }
    dirent64 entry = {};
    const std::size_t length = std::min<std::size_t>(exchange.reply.size, sizeof entry.d_name - 1);
    memcpy(entry.d_name, exchange.reply.data, length);
    entry.d_reclen = static_cast<unsigned short>(std::min(
        (offsetof(dirent64, d_name) + length + alignof(dirent64)) / alignof(dirent64) * alignof(dirent64),
        size));
    memcpy(buffer, &entry, entry.d_reclen);
    return entry.d_reclen;
}

}  // extern "C"
