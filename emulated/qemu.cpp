#include "emulated/qemu.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>

namespace emulated {

namespace {

constexpr char program[] = "qemu-system-arm";
constexpr int notStarted = 127;

// Without highmem=off this kernel finds no PCI bus.
const std::vector<std::string> machineArguments = {program,
                                                   "-M",
                                                   "virt,highmem=off",
                                                   "-cpu",
                                                   "cortex-a15",
                                                   "-m",
                                                   "256",
                                                   "-display",
                                                   "none",
                                                   "-nodefaults",
                                                   "-no-reboot",
                                                   "-device",
                                                   "virtio-serial-pci,max_ports=16"};

std::filesystem::path kernelIn(const std::filesystem::path& folder) {
    for (const auto& entry : std::filesystem::directory_iterator(folder / "unpacked/boot")) {
        if (entry.path().filename().string().starts_with("vmlinuz")) {
            return entry.path();
        }
    }
    throw std::runtime_error("no kernel in " + folder.string());
}

[[noreturn]] void become(std::vector<std::string>& words, const std::vector<int>& inherited, pid_t parent) {
    (void)setpgid(0, 0);  // Ctrl-C is for us, who end it in order
    (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(notStarted);  // the parent went before the kernel could know
    }
    sigset_t none;
    (void)sigemptyset(&none);
    (void)sigprocmask(SIG_SETMASK, &none, nullptr);
    for (const int fd : inherited) {
        (void)fcntl(fd, F_SETFD, 0);
    }
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    (void)execvp(program, argv.data());
    _exit(notStarted);
}

}  // namespace

Qemu::Qemu(const std::filesystem::path& folder) : arguments_(machineArguments) {
    add({"-kernel", kernelIn(folder), "-initrd", folder / "initramfs.cpio", "-append",
         "console=ttyAMA0 quiet panic=-1 cryptomgr.notests"});  // a second of self-tests
}

Qemu::~Qemu() {
    if (process_ > 0) {
        (void)kill(process_, SIGKILL);
        (void)waitpid(process_, nullptr, 0);
    }
    for (const std::vector<int>* ends : {&ours_, &theirs_}) {
        for (const int fd : *ends) {
            (void)close(fd);
        }
    }
}

void Qemu::add(const std::vector<std::string>& arguments) {
    arguments_.insert(arguments_.end(), arguments.begin(), arguments.end());
}

int Qemu::addChannel(const std::string& name) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    ours_.push_back(ends[0]);
    theirs_.push_back(ends[1]);
    (void)fcntl(ends[0], F_SETFL, O_NONBLOCK);
    add({"-chardev", "socket,id=" + name + ",fd=" + std::to_string(ends[1])});
    return ends[0];
}

int Qemu::addPort(const std::string& name) {
    const int end = addChannel(name);
    add({"-device", "virtserialport,chardev=" + name + ",name=" + name});
    return end;
}

void Qemu::start(const std::filesystem::path& log) {
    add({"-serial", "file:" + log.string()});
    const pid_t parent = getpid();
    process_ = fork();
    if (process_ < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (process_ == 0) {
        become(arguments_, theirs_, parent);
    }
    for (const int fd : theirs_) {
        (void)close(fd);  // so that an end of the machine shows at our ends
    }
    theirs_.clear();
}

}  // namespace emulated
