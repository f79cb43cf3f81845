// Files, terminals and the system: the libc calls that the tool makes, sent to the virtual board instead of
// the kernel.

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>

#include "vboard/preload/connection.h"

using vboard::preload::Exchange;
using vboard::preload::isHostDescriptor;
using vboard::wire::Call;

namespace {

int askPath(Call call, const char* path) {
    return static_cast<int>(Exchange(call).text(path).perform());
}

int askDescriptor(Call call, int descriptor) {
    return static_cast<int>(Exchange(call, descriptor).perform());
}

int openPath(const char* path, int flags, mode_t mode = 0) {
    if (vboard::preload::isHostPath(path)) {
        return vboard::preload::openHostFile(path, flags, mode);
    }
    if ((flags & O_DIRECTORY) != 0) {
        return askPath(Call::opendir, path);
    }
    return static_cast<int>(Exchange(Call::open).text(path).argument(0, flags).perform());
}

ssize_t readInto(Exchange& exchange, void* buffer, std::size_t size) {
    exchange.argument(0, static_cast<std::int64_t>(std::min(size, vboard::wire::dataBytes)));
    const std::int64_t result = exchange.perform();
    if (result > 0) {
        memcpy(buffer, exchange.reply.data, static_cast<std::size_t>(result));
    }
    return static_cast<ssize_t>(result);
}

ssize_t readAt(int descriptor, void* buffer, std::size_t size, std::int64_t offset) {
    Exchange exchange(Call::pread, descriptor);
    exchange.argument(1, offset);
    return readInto(exchange, buffer, size);
}

std::int64_t seek(int descriptor, std::int64_t offset, int whence) {
    return Exchange(Call::lseek, descriptor).argument(0, offset).argument(1, whence).perform();
}

template <typename Status>
int fillFileSystemStatus(const char* path, Status* status) {
    Exchange exchange(Call::statfs);
    const std::int64_t result = exchange.text(path).perform();
    if (result != -1) {
        *status = {};
        status->f_bsize = static_cast<decltype(status->f_bsize)>(exchange.reply.values[0]);
        status->f_blocks = static_cast<decltype(status->f_blocks)>(exchange.reply.values[1]);
        status->f_bfree = static_cast<decltype(status->f_bfree)>(exchange.reply.values[2]);
        status->f_bavail = 0;  // as if the rest were kept for root: the two must not be mixed up
    }
    return static_cast<int>(result);
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return openPath(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return openPath(path, flags, mode);
}

int __open_2(const char* path, int flags) {
    return openPath(path, flags);
}

int __open64_2(const char* path, int flags) {
    return openPath(path, flags);
}

int close(int descriptor) {
    return isHostDescriptor(descriptor) ? static_cast<int>(syscall(SYS_close, descriptor))
                                        : askDescriptor(Call::close, descriptor);
}

ssize_t read(int descriptor, void* buffer, size_t size) {
    Exchange exchange(Call::read, descriptor);
    return readInto(exchange, buffer, size);
}

ssize_t __read_chk(int descriptor, void* buffer, size_t size, size_t) {
    return read(descriptor, buffer, size);
}

ssize_t pread(int descriptor, void* buffer, size_t size, off_t offset) {
    return readAt(descriptor, buffer, size, offset);
}

ssize_t pread64(int descriptor, void* buffer, size_t size, off64_t offset) {
    return readAt(descriptor, buffer, size, offset);
}

ssize_t write(int descriptor, const void* buffer, size_t size) {
    if (isHostDescriptor(descriptor)) {
        return syscall(SYS_write, descriptor, buffer, size);
    }
    return static_cast<ssize_t>(Exchange(Call::write, descriptor).data(buffer, size).perform());
}

off_t lseek(int descriptor, off_t offset, int whence) noexcept {
    return static_cast<off_t>(seek(descriptor, offset, whence));
}

off64_t lseek64(int descriptor, off64_t offset, int whence) noexcept {
    return seek(descriptor, offset, whence);
}

int fdatasync(int descriptor) {
    return askDescriptor(Call::fdatasync, descriptor);
}

int setuid(uid_t user) noexcept {
    return static_cast<int>(Exchange(Call::setuid).argument(0, user).perform());
}

int system(const char* command) {
    return askPath(Call::system, command);
}

int chdir(const char* path) noexcept {
    return askPath(Call::chdir, path);
}

int access(const char* path, int) noexcept {
    return askPath(Call::access, path);
}

int mkdir(const char* path, mode_t mode) noexcept {
    return static_cast<int>(Exchange(Call::mkdir).text(path).argument(0, mode).perform());
}

int mount(const char* source, const char* target, const char* type, unsigned long flags,
          const void*) noexcept {
    return static_cast<int>(Exchange(Call::mount)
                                .text(source)
                                .text(target)
                                .text(type)
                                .argument(0, static_cast<std::int64_t>(flags))
                                .perform());
}

int umount(const char* target) noexcept {
    return askPath(Call::umount, target);
}

int statfs(const char* path, struct statfs* status) noexcept {
    return fillFileSystemStatus(path, status);
}

int statfs64(const char* path, struct statfs64* status) noexcept {
    return fillFileSystemStatus(path, status);
}

int uname(utsname* name) noexcept {
    Exchange exchange(Call::uname);
    if (exchange.perform() == -1) {
        return -1;
    }
    *name = {};
    memcpy(name->release, exchange.reply.data,
           std::min<std::size_t>(exchange.reply.size, sizeof name->release - 1));
    return 0;
}

int socket(int domain, int type, int protocol) noexcept {
    return static_cast<int>(
        Exchange(Call::socket).argument(0, domain).argument(1, type).argument(2, protocol).perform());
}

int tcgetattr(int descriptor, termios* attributes) noexcept {
    Exchange exchange(Call::tcgetattr, descriptor);
    const std::int64_t result = exchange.perform();
    if (result != -1) {
        memcpy(attributes, exchange.reply.data, sizeof *attributes);
    }
    return static_cast<int>(result);
}

int tcsetattr(int descriptor, int action, const termios* attributes) noexcept {
    return static_cast<int>(Exchange(Call::tcsetattr, descriptor)
                                .argument(0, action)
                                .data(attributes, sizeof *attributes)
                                .perform());
}

int tcdrain(int descriptor) {
    return askDescriptor(Call::tcdrain, descriptor);
}

int tcflush(int descriptor, int queue) noexcept {
    return static_cast<int>(Exchange(Call::tcflush, descriptor).argument(0, queue).perform());
}

}  // extern "C"
