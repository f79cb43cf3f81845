#pragma once

#include <sys/types.h>

#include "vboard/wire.h"

// The way from the tool's libc calls to the virtual board. Each task has a connection of its own and waits
// for its answer, so nothing here needs a lock.

namespace vboard::preload {

// A request with its data behind it; the reply comes back in the same place.
struct Exchange {
    wire::Request request = {};
    wire::Reply reply = {};

    explicit Exchange(wire::Call call, int descriptor = -1);

    Exchange& argument(int index, std::int64_t value);
    Exchange& data(const void* bytes, std::size_t size);
    Exchange& text(const char* text);  // adds the text and its NUL

    // Asks and waits. Raises the signal that the board orders, if any; then the result, or -1 with errno.
    std::int64_t perform();
};

// Virtual time, as of the process's last reply: asking for it takes none. Sanitizers' run-times ask too, in
// the middle of starting a thread.
std::int64_t monotonicNanoseconds();
std::int64_t wallClockNanoseconds();

// Standard output and error are real: they lead to whoever started the board. So are the files that
// openHostFile opened.
bool isHostDescriptor(int descriptor);

// Whether a path lies in the folder that hostFolderVariable names; never when that is not set.
bool isHostPath(const char* path);

// open(2) of the host, for paths that isHostPath accepts. The descriptor is far above the board's own.
int openHostFile(const char* path, int flags, mode_t mode);

// The connection that came with the last reply to startThread or startProcess.
int takePassedConnection();

// Makes the connection this task's own. Its first request waits for the permission to start: not earlier, for
// a sanitizer's run-time in the parent may wait for the new thread to come up.
void becomeTask(int connection);

// Waits for that permission now; a forked child does, before it can print anything.
void awaitPermission();

// In a forked child: drops the parent's connections, so that the board sees its tasks end when they end.
void dropInheritedConnections();

void closeConnection(int connection);

}  // namespace vboard::preload
