#include "r8/directory.h"

#include <fcntl.h>

Directory::Directory(const char* path) : descriptor_(open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}

const char* Directory::next() {
    if (next_ == filled_) {
        const auto bytes =
            getdents64(descriptor_.number(), reinterpret_cast<dirent64*>(entries_), sizeof entries_);
        if (bytes <= 0) {
            return nullptr;
        }
        filled_ = static_cast<size_t>(bytes);
        next_ = 0;
    }
    const auto* entry = reinterpret_cast<const dirent64*>(entries_ + next_);
    next_ += entry->d_reclen;
    return entry->d_name;
}
