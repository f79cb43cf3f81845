#pragma once

#include <filesystem>
#include <string_view>

namespace emulated {

// Gone at the end, however it comes.
struct TemporaryFolder {
    std::filesystem::path path;
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
};

// A descriptor that can be read once a signal asks us to stop: everything is then taken down in order.
int openStopSignals();

// Waits while the other end takes nothing. Throws std::system_error when it is gone.
void sendAll(int fd, std::string_view bytes);

}  // namespace emulated
