#pragma once

// Files that survive a kill: appended byte by byte as things happen, or replaced as a whole.

#include <filesystem>
#include <string>
#include <string_view>

namespace station {

// Throws std::system_error with errno, naming what it was about, unless the system call went well.
void check(bool fine, const std::string& what);

// A descriptor that is closed when it goes out of scope.
struct Descriptor {
    int fd = -1;

    Descriptor() = default;
    explicit Descriptor(int descriptor) : fd(descriptor) {}
    ~Descriptor() { close(); }
    Descriptor(Descriptor&& other) noexcept : fd(other.fd) { other.fd = -1; }
    Descriptor& operator=(Descriptor&& other) noexcept;
    void close();
};

// Writes all of the bytes, whatever the signals. False with errno when that can't be done.
bool writeAll(int fd, std::string_view bytes);

// Replaces the file in one step: a reader sees the old text or the new one, after a power cut as well.
// Throws std::system_error.
void writeAtomically(const std::filesystem::path& path, std::string_view text);

// The whole file. Throws std::system_error.
std::string readFile(const std::filesystem::path& path);

// The program that a shell would start for that name: a path as it is, anything else by PATH; empty when
// there is none.
std::filesystem::path findProgram(const std::string& name);

// Lower-case hexadecimal SHA-256 of the file's content.
// Throws std::system_error when it can't be read.
std::string sha256OfFile(const std::filesystem::path& path);

}  // namespace station
