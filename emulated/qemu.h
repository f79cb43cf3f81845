#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace emulated {

// The emulated machine: one qemu process, and our ends of its channels. Each is a pair of connected sockets
// that qemu inherits, so that nothing but the process itself can outlive us; the kernel ends it with us.
class Qemu {
  public:
    // folder: kernel and initramfs, see emulated/fetch_kernel and emulated/make_initramfs.
    explicit Qemu(const std::filesystem::path& folder);
    ~Qemu();
    Qemu(const Qemu&) = delete;
    Qemu& operator=(const Qemu&) = delete;

    void add(const std::vector<std::string>& arguments);

    // A character device of this name; gives our end, a descriptor that does not block.
    int addChannel(const std::string& name);
    int addPort(const std::string& name);  // the same, behind a virtio-serial port

    // Starts the machine; its console goes to the log. Throws std::system_error.
    void start(const std::filesystem::path& log);

  private:
    std::vector<std::string> arguments_;
    std::vector<int> ours_;
    std::vector<int> theirs_;  // until the start
    pid_t process_ = -1;
};

}  // namespace emulated
