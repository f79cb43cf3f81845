#pragma once

#include <unistd.h>

// An open file that is closed where its scope ends, whichever way that is left; nothing for -1. For
// descriptors that are given back on several paths.
class Descriptor {
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ != -1) {
            (void)close(fd_);  // only devices and files that are read: nothing is lost by a close that fails
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return fd_; }

  private:
    int fd_;
};
