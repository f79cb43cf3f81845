#include "station/keep/unit_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <system_error>

#include "station/keep/attempt.h"
#include "station/wrong_use.h"

namespace station {

namespace {

namespace fs = std::filesystem;

// Whoever had the lock may take the file away, with a unit's empty folder, before we have it.
bool isStillThere(int fd) {
    struct stat status = {};
    return fstat(fd, &status) == 0 && status.st_nlink != 0;
}

}  // namespace

UnitLock::UnitLock(const fs::path& results, const std::optional<std::string>& unit) {
    if (!unit) {
        return;
    }
    path_ = results / unitFolderName(unit) / ".lock";
    do {
        fs::create_directories(path_.parent_path());
        file_ = host::Descriptor(open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644));
        host::require(file_.isOpen() || errno == ENOENT, path_);
        if (file_.isOpen() && flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
            host::require(errno == EWOULDBLOCK, path_);
            throw WrongUse("unit " + *unit +
                           " is being tested at this moment by another station: " + path_.string());
        }
    } while (!file_.isOpen() || !isStillThere(file_.get()));
}

host::Descriptor lockAddresses(const fs::path& results) {
    const fs::path path = results / ".addresses.lock";
    host::Descriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644));
    host::require(file.isOpen(), path);
    int locked = -1;
    do {
        locked = flock(file.get(), LOCK_EX);
    } while (locked != 0 && errno == EINTR);
    host::require(locked == 0, path);
    return file;
}

UnitLock::~UnitLock() {
    std::error_code ignored;  // what is left harms nobody
    if (!file_.isOpen()) {
        return;
    }
    const fs::path folder = path_.parent_path();
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, ignored)) {
        if (entry.path() != path_) {
            return;
        }
    }
    (void)fs::remove(path_, ignored);
    (void)fs::remove(folder, ignored);
    (void)fs::remove(folder.parent_path(), ignored);  // where it was made for this
}

}  // namespace station
