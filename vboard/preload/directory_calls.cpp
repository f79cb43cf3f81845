// Reading directories: the libc calls, sent to the virtual board instead of the kernel.

#include <dirent.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <utility>

#include "vboard/preload/connection.h"

using vboard::preload::Exchange;
using vboard::wire::Call;

namespace {

// A directory stream: the board keeps the place, this keeps the entry that readdir hands out.
struct Directory {
    int descriptor = -1;
    dirent entry;
};
Directory directories[8];

DIR* openDirectory(const char* path) {
    const int descriptor = static_cast<int>(Exchange(Call::opendir).text(path).perform());
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
    return static_cast<int>(Exchange(Call::close, std::exchange(directory.descriptor, -1)).perform());
}

}  // extern "C"
