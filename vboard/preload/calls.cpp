// The libc calls that the tool makes, sent to the virtual board instead of the kernel.

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "vboard/preload/connection.h"

using vboard::preload::Exchange;
using vboard::preload::isHostDescriptor;
using vboard::preload::monotonicNanoseconds;
using vboard::preload::wallClockNanoseconds;
using vboard::wire::Call;

namespace {

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
constexpr std::int64_t nanosecondsPerMicrosecond = 1'000;

int askPath(Call call, const char* path) {
    return static_cast<int>(Exchange(call).text(path).perform());
}

int askDescriptor(Call call, int descriptor) {
    return static_cast<int>(Exchange(call, descriptor).perform());
}

std::int64_t sleepNanoseconds(std::int64_t nanoseconds) {
    Exchange exchange(Call::sleep);
    (void)exchange.argument(0, nanoseconds).perform();  // an interrupted sleep says what is left
    return exchange.reply.values[0];
}

int openPath(const char* path, int flags, mode_t mode = 0) {
    if (vboard::preload::isHostPath(path)) {
        return vboard::preload::openHostFile(path, flags, mode);
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
        status->f_bavail = status->f_bfree;
    }
    return static_cast<int>(result);
}

std::int64_t toMask(const fd_set* set) {
    std::uint64_t mask = 0;
    for (int descriptor = 0; set != nullptr && descriptor < 64; ++descriptor) {
        if (FD_ISSET(descriptor, set)) {
            mask |= std::uint64_t{1} << descriptor;
        }
    }
    return static_cast<std::int64_t>(mask);
}

void fromMask(std::int64_t mask, fd_set* set) {
    if (set == nullptr) {
        return;
    }
    FD_ZERO(set);
    for (int descriptor = 0; descriptor < 64; ++descriptor) {
        if ((static_cast<std::uint64_t>(mask) >> descriptor & 1) != 0) {
            FD_SET(descriptor, set);
        }
    }
}

// A directory stream: the board keeps the place, this keeps the entry that readdir hands out.
struct Directory {
    int descriptor = -1;
    dirent entry;
};
Directory directories[8];

DIR* openDirectory(const char* path) {
    const int descriptor = askPath(Call::opendir, path);
    if (descriptor == -1) {
        return nullptr;
    }
    for (Directory& directory : directories) {
        if (directory.descriptor == -1) {
            directory.descriptor = descriptor;
            return reinterpret_cast<DIR*>(&directory);
        }
    }
    abort();  // the tool leaks directory streams
}

dirent* nextEntry(DIR* stream) {
    Directory& directory = *reinterpret_cast<Directory*>(stream);
    Exchange exchange(Call::readdir, directory.descriptor);
    if (exchange.perform() != 1) {
        return nullptr;
    }
    directory.entry = {};
    memcpy(directory.entry.d_name, exchange.reply.data,
           std::min<std::size_t>(exchange.reply.size, sizeof directory.entry.d_name - 1));
    return &directory.entry;
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

int select(int, fd_set* readers, fd_set* writers, fd_set* exceptions, struct timeval* timeout) {
    Exchange exchange(Call::select);
    exchange.argument(0, toMask(readers)).argument(1, toMask(writers)).argument(2, -1);
    if (timeout != nullptr) {
        exchange.argument(
            2, timeout->tv_sec * nanosecondsPerSecond + timeout->tv_usec * nanosecondsPerMicrosecond);
    }
    const std::int64_t result = exchange.perform();
    if (result == -1) {
        return -1;
    }
    fromMask(exchange.reply.values[0], readers);
    fromMask(exchange.reply.values[1], writers);
    fromMask(0, exceptions);
    if (timeout != nullptr && exchange.reply.values[2] >= 0) {
        timeout->tv_sec = static_cast<time_t>(exchange.reply.values[2] / nanosecondsPerSecond);
        timeout->tv_usec = static_cast<suseconds_t>(exchange.reply.values[2] % nanosecondsPerSecond /
                                                    nanosecondsPerMicrosecond);
    }
    return static_cast<int>(result);
}

unsigned sleep(unsigned seconds) {
    const std::int64_t left = sleepNanoseconds(seconds * nanosecondsPerSecond);
    return static_cast<unsigned>((left + nanosecondsPerSecond - 1) / nanosecondsPerSecond);
}

int usleep(useconds_t microseconds) {
    return sleepNanoseconds(microseconds * nanosecondsPerMicrosecond) == 0 ? 0 : -1;
}

time_t time(time_t* result) noexcept {
    const auto seconds = static_cast<time_t>(wallClockNanoseconds() / nanosecondsPerSecond);
    if (result != nullptr) {
        *result = seconds;
    }
    return seconds;
}

int clock_gettime(clockid_t id, timespec* result) noexcept {
    const std::int64_t now = id == CLOCK_REALTIME ? wallClockNanoseconds() : monotonicNanoseconds();
    result->tv_sec = static_cast<time_t>(now / nanosecondsPerSecond);
    result->tv_nsec = static_cast<long>(now % nanosecondsPerSecond);
    return 0;
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

DIR* opendir(const char* path) {
    return openDirectory(path);
}

dirent* readdir(DIR* stream) {
    return nextEntry(stream);
}

// The board's names are short: one layout serves both widths of d_ino and d_off, as d_name is what is read.
dirent64* readdir64(DIR* stream) {
    static dirent64 wide;
    const dirent* entry = nextEntry(stream);
    if (entry == nullptr) {
        return nullptr;
    }
    wide = {};
    memcpy(wide.d_name, entry->d_name, sizeof wide.d_name);
    return &wide;
}

int closedir(DIR* stream) {
    Directory& directory = *reinterpret_cast<Directory*>(stream);
    return askDescriptor(Call::close, std::exchange(directory.descriptor, -1));
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
