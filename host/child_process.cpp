#include "host/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "host/descriptor.h"

namespace host {

namespace {

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (const std::string& text : texts) {
        pointers.push_back(const_cast<char*>(text.c_str()));  // exec's type; it only reads
    }
    pointers.push_back(nullptr);
    return pointers;
}

// A descriptor that is in its place already would still be closed by exec.
bool place(int from, int to) {
    return from == -1 || (from == to ? fcntl(from, F_SETFD, 0) == 0 : dup2(from, to) >= 0);
}

bool arrange(const Command& command) {
    for (const int descriptor : command.inherited) {
        if (fcntl(descriptor, F_SETFD, 0) != 0) {
            return false;
        }
    }
    return place(command.input, STDIN_FILENO) && place(command.output, STDOUT_FILENO) &&
           place(command.errors, STDERR_FILENO);
}

// In the child, between fork and exec: nothing here may allocate.
[[noreturn]] void execute(const Command& command, char* const* words, char* const* variables) {
    sigset_t none;
    (void)sigemptyset(&none);
    (void)sigprocmask(SIG_SETMASK, &none, nullptr);
    (void)signal(SIGPIPE, SIG_DFL);
    if (command.ownGroup) {
        (void)setpgid(0, 0);
    }
    if (command.endsWithParent) {
        (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
    }
    if (arrange(command)) {
        (void)(command.searchPath ? execvpe : execve)(words[0], words, variables);
    }
    if (!command.complaint.empty()) {
        dprintf(STDERR_FILENO, "%s: %s\n", command.complaint.c_str(), strerror(errno));
    }
    _exit(cannotStart);
}

}  // namespace

pid_t start(const Command& command) {
    const std::vector<char*> words = pointersTo(command.words);
    const std::vector<std::string> environment = command.environment.value_or(std::vector<std::string>{});
    const std::vector<char*> variables = pointersTo(environment);
    const pid_t child = checked(fork(), "fork");
    if (child == 0) {
        execute(command, words.data(), command.environment ? variables.data() : environ);
    }
    if (command.ownGroup) {
        (void)setpgid(child, child);  // whichever of the two comes first
    }
    return child;
}

ChildProcess::~ChildProcess() {
    signal(SIGKILL);
    (void)wait();
}

void ChildProcess::signal(int number) const {
    if (!reaped_) {
        (void)kill(isGroup_ ? -id_ : id_, number);  // gone already is as good
    }
}

bool ChildProcess::reap(int options) {
    pid_t ended = 0;
    while (!reaped_ && (ended = waitpid(id_, &status_, options)) == -1 && errno == EINTR) {
    }
    reaped_ = reaped_ || ended != 0;
    return reaped_;
}

int ChildProcess::wait() {
    (void)reap(0);
    return status_;
}

bool ChildProcess::hasEnded() {
    return reap(WNOHANG);
}

std::filesystem::path findProgram(const std::string& name) {
    const auto isProgram = [](const std::filesystem::path& path) {
        std::error_code ignored;
        return std::filesystem::is_regular_file(path, ignored) && access(path.c_str(), X_OK) == 0;
    };
    if (name.find('/') != std::string::npos) {
        return isProgram(name) ? name : "";
    }
    const char* const variable = std::getenv("PATH");
    std::istringstream directories(variable == nullptr ? "/usr/bin:/bin" : variable);
    for (std::string directory; !name.empty() && std::getline(directories, directory, ':');) {
        const std::filesystem::path path = std::filesystem::path(directory) / name;
        if (isProgram(path)) {
            return path;
        }
    }
    return "";
}

}  // namespace host
