#pragma once

// What the preload library asks and what the board answers: one SOCK_SEQPACKET connection per task of the
// tool, one packet per request and per reply, fixed widths, so that a 32-bit tool talks to a 64-bit board.
// The first packet on a connection is a reply: the task's permission to start.

#include <cstddef>
#include <cstdint>

namespace vboard::wire {

// Named after the libc call behind it; the trace shows these names.
enum class Call : std::uint32_t {
    startThread,   // the reply passes the new task's connection (SCM_RIGHTS)
    startProcess,  // likewise
    sleep,         // arguments: nanoseconds
    setuid,        // arguments: user id
    system,        // data: command
    chdir,         // data: path
    access,        // data: path
    mkdir,         // data: path; arguments: mode
    mount,         // data: source, target, type, each ended by a NUL
    umount,        // data: target
    statfs,        // data: path; values: block size, blocks, free blocks
    uname,         // reply data: release
    socket,        // arguments: domain, type, protocol; result: descriptor
    open,          // data: path; arguments: flags; result: descriptor
    opendir,       // data: path; result: descriptor
    readdir,       // result: 1 and the name in data, or 0 at the end
    close,         //
    read,          // arguments: size; reply data
    pread,         // arguments: size, offset; reply data
    write,         // data
    lseek,         // arguments: offset, whence
    fdatasync,     //
    ioctl,         // arguments: request, value, 0 or withoutShape; data: what the argument points to, both
                   // ways; nothing comes back from a request that only hands something to the driver
    select,        // arguments: read set, write set (bit n: descriptor n), nanoseconds or -1; values: sets,
                   // nanoseconds left
    tcgetattr,     // reply data: struct termios
    tcsetattr,     // arguments: action; data: struct termios
    tcdrain,       //
    tcflush,       // arguments: queue
};
constexpr std::size_t callCount = static_cast<std::size_t>(Call::tcflush) + 1;

constexpr std::size_t dataBytes = 4096;

struct Request {
    Call call;
    std::int32_t descriptor;  // -1 where the call has none
    std::int64_t arguments[3];
    std::uint32_t size;  // bytes of data that follow
    std::uint32_t unused;
    std::uint8_t data[dataBytes];
};

struct Reply {
    std::int64_t result;
    std::int64_t now;    // virtual time, nanoseconds since the start of the run
    std::int64_t epoch;  // what the start of the run is for time(2), seconds
    std::int64_t values[3];
    std::int32_t error;   // errno, 0 for success
    std::int32_t signal;  // raised by the task before it goes on, 0 for none
    std::uint32_t size;
    std::uint32_t unused;
    std::uint8_t data[dataBytes];
};

constexpr std::size_t requestHeaderBytes = offsetof(Request, data);
constexpr std::size_t replyHeaderBytes = offsetof(Reply, data);
static_assert(requestHeaderBytes == 40 && replyHeaderBytes == 64, "same layout on 32 and 64 bits");

// The requests as the board sees them where 32-bit and 64-bit kernels differ in code or in width; the
// preload library translates. The size goes over the wire as 64 bits for both.
constexpr std::uint32_t blockSectors = 0x00001260;
constexpr std::uint32_t blockBytes = 0x80041272;

// Of an ioctl request whose argument nobody knows the shape of: neither value nor data go with it.
constexpr std::int64_t withoutShape = 1;

// Environment variable with the number of the first task's connection.
constexpr char connectionVariable[] = "VBOARD_CONNECTION";

// Environment variable with a folder of the host, absolute. What the tool's process opens below it is the
// host's own file: there a program built for coverage leaves its counts when it ends. Without the variable
// nothing of the host can be opened; only the coverage preset sets it.
constexpr char hostFolderVariable[] = "VBOARD_HOST_FOLDER";

}  // namespace vboard::wire
