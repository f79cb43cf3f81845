#include "r8/usb/usb_disk_test.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "r8/directory.h"
#include "r8/driver/report/report_channel.h"
#include "r8/driver/report/run_results.h"
#include "r8/print.h"

namespace {

constexpr char reportModule[] = "usb_disk_test";
constexpr int maxDisks = 8;
constexpr size_t nameBytes = 50;         // with the terminating NUL
constexpr size_t diskPrefixChars = 3;    // what a disk's name and its partitions' names have in common
constexpr uint64_t marginBlocks = 5000;  // not promised to the operator as free space
constexpr mode_t mountPointMode = 0777;

constexpr const char* mouseNodes[] = {"/dev/input/mouse0", "/dev/input/mouse1", "/dev/input/mouse2"};

char usbDiskNames[maxDisks][nameBytes];

bool couldOpen(const Directory& directory) {
    if (!directory.isOpen()) {
        printTo(STDERR_FILENO, "can not open directory /proc\n");  // this text for every directory
    }
    return directory.isOpen();
}

uint32_t countMice() {
    uint32_t count = 0;
    for (const char* node : mouseNodes) {
        count += access(node, F_OK) == 0 ? 1 : 0;
    }
    return count;
}

// The board's kernel names USB disks "ms" and a letter; "msm..." are no disks.
bool isDiskNode(const char* name) {
    return name[0] == 'm' && name[1] == 's' && name[2] != 'm';
}

// Stores a name at place count and returns the new count. Of a disk and its partitions, listed one after the
// other in either order, one stays: a partition, which carries the file system, and the later one of two.
int addDiskName(int count, const char* name) {
    char* entry = usbDiskNames[count];
    (void)formatText(entry, nameBytes, "%s", name);
    if (count == 0) {
        return 1;
    }
    char* previous = usbDiskNames[count - 1];
    if (strncmp(entry, previous, diskPrefixChars) != 0) {
        return count + 1;
    }
    if (HasDigit(entry) != 0) {
        memcpy(previous, entry, nameBytes);
    } else if (HasDigit(previous) == 0) {
        return count + 1;
    }
    memset(entry, 0, nameBytes);
    return count;
}

int findDisks(Directory& directory) {
    memset(usbDiskNames, 0, sizeof usbDiskNames);
    int count = 0;
    while (count < maxDisks) {
        const char* name = directory.next();
        if (name == nullptr) {
            break;
        }
        if (isDiskNode(name)) {
            count = addDiskName(count, name);
        }
    }
    return count;
}

// "4-1": a device on bus 4, the USB 3.0 one, at root port 1.
bool usb3Present() {
    Directory directory("/sys/bus/usb/devices");
    if (!couldOpen(directory)) {
        return false;
    }
    while (const char* name = directory.next()) {
        if (strncmp(name, "4-1", 3) == 0) {
            return true;
        }
    }
    return false;
}

// Whatever fails here shows in the query that follows: it describes the file system that holds "/mnt" then.
void mountDisk(const char* device, const char* mountPoint) {
    char command[sizeof "mount -t vfat   \n" + 2 * (nameBytes + sizeof "/dev/")];
    if (mkdir(mountPoint, mountPointMode) != 0) {
        (void)formatText(command, sizeof command, "mkdir %s\n", mountPoint);
        (void)!system(command);  // fails when the mount point exists already, which is as good
    }
    if (mount(device, mountPoint, "vfat", 0, nullptr) != 0) {
        (void)formatText(command, sizeof command, "mount -t vfat %s  %s\n", device, mountPoint);
        (void)!system(command);  // the query tells
    }
}

// Whole MiB, at the precision of 1024 blocks.
int32_t freeMebibytes(const struct statfs& fileSystem) {
    const uint64_t freeBlocks = fileSystem.f_bfree;
    if (freeBlocks < marginBlocks) {
        return 0;
    }
    const auto blockBytes = static_cast<uint64_t>(fileSystem.f_bsize);
    return static_cast<int32_t>(((freeBlocks - marginBlocks) >> 10) * blockBytes >> 10);
}

void testDisk(const char* name) {
    char device[sizeof "/dev/" + nameBytes];
    char mountPoint[sizeof "/mnt/" + nameBytes];
    (void)formatText(device, sizeof device, "/dev/%s", name);
    (void)formatText(mountPoint, sizeof mountPoint, "/mnt/%s", name);
    mountDisk(device, mountPoint);

    struct statfs fileSystem = {};
    if (statfs(mountPoint, &fileSystem) != 0) {
        reportLine("Failed to statfs");
        --runResults.usbFoundCount;
        (void)umount(mountPoint);  // fails when neither mount worked
        return;
    }
    (void)umount(mountPoint);  // fails when neither mount worked
    reportLine("%s 剩余空间 = %dM\n", device, static_cast<int>(freeMebibytes(fileSystem)));
}

// Counts the mice into the run's results; returns the number of disks, or -1 when "/dev" can't be read.
int countDevices() {
    runResults.usbFoundCount = 0;
    Directory directory("/dev");
    if (!couldOpen(directory)) {
        return -1;
    }
    runResults.usbFoundCount = countMice();
    return findDisks(directory);
}

}  // namespace

int UsbPortTest() {
    const int diskCount = countDevices();
    if (diskCount < 0) {
        return -1;
    }
    if (diskCount == 0) {
        reportLine("没有接usb\n");
        return -1;
    }

    if (usb3Present()) {
        reportLine("找到3.0USB\n");
    } else {
        reportLine("没有3.0USB\n");
    }
    runResults.usbFoundCount += static_cast<uint32_t>(diskCount);
    for (int i = 0; i < diskCount; ++i) {
        testDisk(usbDiskNames[i]);
    }
    return 0;
}

int HasDigit(const char* s) {
    return s != nullptr && strpbrk(s, "0123456789") != nullptr ? 1 : 0;
}
