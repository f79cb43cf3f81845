#include "r8/driver/main_application.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "r8/descriptor.h"
#include "r8/directory.h"
#include "r8/print.h"

namespace {

constexpr size_t nameBytes = sizeof(dirent::d_name);
constexpr size_t commandLineProbeBytes = 10;  // "./vidapp", its NUL, and one byte to spare

bool isProcessId(const char* name) {
    return strspn(name, "0123456789") == strlen(name);
}

enum class Process { mainApplication, other, unreadable };

Process identify(const char* processId) {
    char path[nameBytes + sizeof "/proc//cmdline"];
    (void)formatText(path, sizeof path, "/proc/%s/cmdline", processId);
    const Descriptor file(open(path, O_RDONLY));
    if (file.number() == -1) {
        print("can not open %s \n", path);
        return Process::unreadable;
    }
    char firstArgument[commandLineProbeBytes + 1] = {};
    (void)read(file.number(), firstArgument,
               commandLineProbeBytes);  // an unreadable one stays empty and matches nothing
    return strcmp(firstArgument, "./vidapp") == 0 ? Process::mainApplication : Process::other;
}

void killProcess(const char* processId) {
    char command[nameBytes + sizeof "kill -9 \n"];
    (void)formatText(command, sizeof command, "kill -9 %s\n", processId);
    (void)!system(command);  // an application that survives shows in the tests that follow
}

int scanProcesses(Directory& directory) {
    while (const char* name = directory.next()) {
        if (!isProcessId(name)) {
            continue;
        }
        const Process process = identify(name);
        if (process == Process::unreadable) {
            return -1;
        }
        if (process == Process::mainApplication) {
            killProcess(name);
            return 0;
        }
    }
    return 0;
}

}  // namespace

int stopMainApplication() {
    Directory directory("/proc");
    if (!directory.isOpen()) {
        printTo(STDERR_FILENO, "can not open directory /proc\n");
        return -1;
    }
    (void)!chdir("/proc");  // every path in this tool is absolute
    return scanProcesses(directory);
}
