#include "vboard/kernel/own_core.h"

#include <fcntl.h>
#include <sys/file.h>

#include <string>

namespace vboard {

namespace {

// A lock on what the host's kernel shows of the core: it leaves no file behind. No descriptor where the core
// has a board already.
host::Descriptor claim(int core) {
    const std::string folder = "/sys/devices/system/cpu/cpu" + std::to_string(core);
    host::Descriptor lock(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (lock.isOpen() && flock(lock.get(), LOCK_EX | LOCK_NB) == -1) {
        lock.close();
    }
    return lock;
}

}  // namespace

OwnCore::OwnCore() {
    if (sched_getaffinity(0, sizeof before_, &before_) == -1) {
        return;  // a host with more cores than a set of them holds
    }
    const int here = sched_getcpu();
    for (int i = 0; i < CPU_SETSIZE && !claim_.isOpen(); ++i) {
        const int core = (here + i) % CPU_SETSIZE;
        if (!CPU_ISSET(core, &before_)) {
            continue;
        }
        claim_ = claim(core);
        if (claim_.isOpen()) {
            cpu_set_t own = {};
            CPU_SET(core, &own);
            (void)sched_setaffinity(0, sizeof own, &own);  // the core may have gone: then it stays as it was
        }
    }
}

OwnCore::~OwnCore() {
    if (claim_.isOpen()) {
        (void)sched_setaffinity(0, sizeof before_, &before_);  // where it was allowed to be until now
    }
}

}  // namespace vboard
