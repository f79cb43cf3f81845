#pragma once

#include <cerrno>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "vboard/kernel/clock.h"
#include "vboard/request_shapes.h"

struct termios;

namespace vboard {

// What a request came to: a result as the libc call gives it, or an errno; signal is raised in the task
// first (SIGPIPE).
struct Result {
    std::int64_t value = 0;
    int error = 0;
    int signal = 0;
    bool refused = false;  // nobody knows this request

    static Result failure(int error) { return {-1, error, 0, false}; }
    static Result refusal(int error) { return {-1, error, 0, true}; }
};

// One ioctl request, one of those that its node knows (Node::requests). data is what the argument points to,
// exactly as many bytes as the request's shape says; empty for a value.
struct IoctlRequest {
    std::uint32_t code = 0;
    std::uint64_t value = 0;
    std::span<std::uint8_t> data;
};

// What stands behind a path. Each open file keeps its own flags and place in the file.
struct OpenFile {
    class Node* node = nullptr;
    std::string path;
    int flags = 0;
    std::size_t position = 0;
};

// A terminal's side of a node (termios(3)).
class Terminal {
  public:
    virtual ~Terminal() = default;
    virtual Result getAttributes(termios& attributes) = 0;
    virtual Result setAttributes(const termios& attributes) = 0;
    virtual Result flush(int queue) = 0;
    virtual bool drained() const = 0;
};

// A device node or file. The defaults answer as the kernel does for a node that can't do a thing.
class Node {
  public:
    virtual ~Node() = default;

    virtual Result open(const OpenFile&) { return {}; }
    virtual void close(const OpenFile&) {}
    virtual Result read(OpenFile&, std::span<std::uint8_t>) { return Result::failure(EINVAL); }
    virtual Result write(OpenFile&, std::span<const std::uint8_t>) { return Result::failure(EINVAL); }
    virtual Time writeDuration() const { return Time{0}; }                 // before a write returns
    virtual std::span<const RequestShape> requests() const { return {}; }  // of ioctl(2)
    virtual Result ioctl(const IoctlRequest&) { return Result::refusal(ENOTTY); }
    virtual bool readable() const { return true; }
    virtual bool writable() const { return true; }
    virtual std::size_t size() const { return 0; }  // of a regular file, in bytes
    virtual Terminal* terminal() { return nullptr; }
};

// A regular file with fixed content.
class File : public Node {
  public:
    std::vector<std::uint8_t> content;

    Result read(OpenFile& file, std::span<std::uint8_t> into) override;
    std::size_t size() const override { return content.size(); }
};

// A node that is only there to be seen.
class PresentNode : public Node {};

}  // namespace vboard
