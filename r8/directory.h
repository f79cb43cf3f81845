#pragma once

#include <dirent.h>
#include <stddef.h>

#include "r8/descriptor.h"

// The names in a directory, in the kernel's own order, read without the heap that the C library's directory
// streams take. Closed where its scope ends.
class Directory {
  public:
    explicit Directory(const char* path);

    bool isOpen() const { return descriptor_.number() != -1; }

    // The next name, "." and ".." among them, good until the next call; null at the end or where reading
    // fails.
    const char* next();

  private:
    Descriptor descriptor_;
    size_t filled_ = 0;  // bytes of entries_
    size_t next_ = 0;    // where the next entry begins
    alignas(dirent64) char entries_[1024];
};
