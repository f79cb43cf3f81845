// What the emulated machine's shell can't do.
// usage: tools duplex INTERFACE full|half     what a 100 Mb/s card offers its partner
//        tools clock SECONDS                 sets the system's clock so much behind the clock chip
//        tools measure FILE COMMAND...        runs the command, writes to the file what it cost, ends with
//        its status

#include <fcntl.h>
#include <linux/mii.h>
#include <linux/rtc.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr int failure = 1;

int offerDuplex(const char* interface, bool full) {
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    ifreq request = {};
    strncpy(request.ifr_name, interface, sizeof request.ifr_name - 1);
    auto* mii = reinterpret_cast<mii_ioctl_data*>(&request.ifr_data);
    if (ioctl(fd, SIOCGMIIPHY, &request) != 0) {
        return failure;
    }
    mii->reg_num = MII_ADVERTISE;
    mii->val_in = static_cast<__u16>(ADVERTISE_CSMA | (full ? ADVERTISE_ALL : ADVERTISE_100HALF));
    return ioctl(fd, SIOCSMIIREG, &request) == 0 ? EXIT_SUCCESS : failure;
}

double now() {
    timespec time = {};
    (void)clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// The chip's time, read at the moment that it turned to this second; told how late that may be.
double awaitSecond(int fd, double* late) {
    rtc_time chip = {};
    (void)ioctl(fd, RTC_RD_TIME, &chip);
    const int last = chip.tm_sec;
    double before = now();
    while (chip.tm_sec == last) {
        before = now();
        usleep(1000);
        (void)ioctl(fd, RTC_RD_TIME, &chip);
    }
    tm broken = {};
    broken.tm_sec = chip.tm_sec;
    broken.tm_min = chip.tm_min;
    broken.tm_hour = chip.tm_hour;
    broken.tm_mday = chip.tm_mday;
    broken.tm_mon = chip.tm_mon;
    broken.tm_year = chip.tm_year;
    *late = now() - before;
    return static_cast<double>(timegm(&broken));
}

// A little further apart than was asked for: the two clocks are read one after the other, and must not come
// to look closer than they are. On a busy host a second may show late, and another one has to be awaited.
int setSystemClock(double behind) {
    constexpr double aside = 0.1;
    const int fd = open("/dev/rtc0", O_RDONLY);
    rtc_time first = {};
    if (ioctl(fd, RTC_RD_TIME, &first) != 0) {
        return failure;
    }
    for (int tries = 0; tries < 30; ++tries) {
        double late = 0;
        const double start = now();
        const double system = awaitSecond(fd, &late) - behind + (behind < 0 ? aside : -aside);
        timespec time = {};
        time.tv_sec = static_cast<time_t>(system);
        time.tv_nsec = static_cast<long>((system - static_cast<double>(time.tv_sec)) * 1e9);
        const double seen = now();
        if (clock_settime(CLOCK_REALTIME, &time) != 0) {
            return failure;
        }
        if (late + (now() - seen) < aside / 2 && now() - start < 2) {
            return EXIT_SUCCESS;
        }
    }
    return failure;
}

// The lines of a file in /proc that begin so, as they are.
void copyLines(const char* path, const char* const* beginnings, FILE* into) {
    FILE* from = fopen(path, "r");
    char line[256];
    while (from != nullptr && fgets(line, sizeof line, from) != nullptr) {
        for (const char* const* beginning = beginnings; *beginning != nullptr; ++beginning) {
            if (strncmp(line, *beginning, strlen(*beginning)) == 0) {
                fputs(line, into);
            }
        }
    }
    if (from != nullptr) {
        (void)fclose(from);
    }
}

// At the moment before the process gives its memory back. Counted from the page tables ("Rss") as well: the
// kernel's running count comes up to 64 pages late in each thread.
void noteMemory(pid_t process, FILE* into) {
    constexpr const char* inStatus[] = {"VmHWM:", "VmRSS:", "RssAnon:", "RssFile:", "Threads:", nullptr};
    constexpr const char* inMap[] = {"Rss:", "Pss:", nullptr};
    char path[64];
    snprintf(path, sizeof path, "/proc/%d/status", process);
    copyLines(path, inStatus, into);
    snprintf(path, sizeof path, "/proc/%d/smaps_rollup", process);
    copyLines(path, inMap, into);
}

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// The process is traced, but runs on with each signal that it gets.
int follow(pid_t process, FILE* into, rusage* usage) {
    int status = 0;
    while (wait4(process, &status, 0, usage) == process && WIFSTOPPED(status)) {
        const bool ends = status >> 8 == (SIGTRAP | PTRACE_EVENT_EXIT << 8);
        if (ends) {
            noteMemory(process, into);
        }
        const int signal = ends || status >> 16 != 0 ? 0 : WSTOPSIG(status);
        (void)ptrace(PTRACE_CONT, process, nullptr, signal);
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

// What the kernel takes for the file systems of the board's USB disks, whoever mounts them: the least of some
// rounds of nothing but that, or 0 if one can't be mounted.
double bareMounts() {
    constexpr const char* partitions[] = {"/dev/msa1", "/dev/msb1"};
    constexpr const char* place = "/mnt/bare";
    double least = 0;
    (void)mkdir(place, 0755);
    for (int round = 0; round < 3; ++round) {
        const double start = now();
        for (const char* partition : partitions) {
            struct statfs space = {};
            if (mount(partition, place, "vfat", 0, nullptr) != 0) {
                return 0;
            }
            (void)statfs(place, &space);
            (void)umount(place);
        }
        const double spent = now() - start;
        least = round == 0 || spent < least ? spent : least;
    }
    (void)rmdir(place);
    return least;
}

int measure(const char* file, char** command) {
    FILE* into = fopen(file, "w");
    int started[2];
    if (into == nullptr || pipe(started) != 0) {
        return failure;
    }
    const pid_t process = fork();
    if (process == 0) {
        char byte;
        (void)close(started[1]);
        (void)!read(started[0], &byte, 1);  // until it is traced
        (void)close(started[0]);
        execvp(command[0], command);
        _exit(127);
    }
    (void)ptrace(PTRACE_SEIZE, process, nullptr, PTRACE_O_TRACEEXIT);
    const double start = now();
    (void)close(started[1]);
    (void)close(started[0]);
    rusage usage = {};
    const int status = follow(process, into, &usage);
    fprintf(into, "Elapsed: %.3f s\nCpu: %.3f s\nSwitches: %ld voluntary, %ld not\n", now() - start,
            seconds(usage.ru_utime) + seconds(usage.ru_stime), usage.ru_nvcsw, usage.ru_nivcsw);
    fprintf(into, "Mounts: %.3f s\n", bareMounts());
    return fclose(into) == 0 ? status : failure;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4 && strcmp(argv[1], "duplex") == 0) {
        return offerDuplex(argv[2], strcmp(argv[3], "full") == 0);
    }
    if (argc == 3 && strcmp(argv[1], "clock") == 0) {
        return setSystemClock(strtod(argv[2], nullptr));
    }
    if (argc > 3 && strcmp(argv[1], "measure") == 0) {
        return measure(argv[2], argv + 3);
    }
    return 2;
}
