// Plays the tool for the station's tests: station_fake_tool netR8test FIFO RECORDS CONSOLE END
// RECORDS and CONSOLE are files whose bytes go to the pipe and to standard output. END: "exit:STATUS",
// "signal:NUMBER", "talker" to leave a child behind that prints for ever, "words" to say a lot on standard
// error and to be gone before the station looks at it, or "hang" to wait until somebody ends us or nobody
// reads the pipe any more; "deaf" does so too and answers SIGTERM with a line only.

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

static std::string contentOf(const char* path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// True in a child, once we have ended.
static bool leaveChildBehind() {
    const pid_t tool = getpid();
    if (fork() != 0) {
        return false;
    }
    while (getppid() == tool) {
        (void)sched_yield();
    }
    return true;
}

static void leaveTalkerBehind() {
    if (!leaveChildBehind()) {
        return;
    }
    const std::string line = std::string(4095, 'x') + "\n";
    while (write(STDOUT_FILENO, line.data(), line.size()) > 0) {
    }
    _exit(0);
}

// More than one read takes, while the station stands still.
static bool sayLastWords() {
    const pid_t station = getppid();
    if (leaveChildBehind()) {
        (void)kill(station, SIGCONT);
        _exit(0);
    }
    std::string words;
    for (int i = 0; i < 1000; ++i) {
        words += std::string(99, 'x') + "\n";
    }
    words += "last words";
    (void)fcntl(STDERR_FILENO, F_SETFL, O_NONBLOCK);  // too small a pipe must not keep us
    (void)kill(station, SIGSTOP);
    return write(STDERR_FILENO, words.data(), words.size()) == static_cast<ssize_t>(words.size());
}

static void answer(int) {
    (void)!write(STDOUT_FILENO, "asked\n", 6);
}

int main(int argc, char** argv) {
    if (argc != 6) {
        return 99;
    }
    if (argv[5][0] == 'd') {
        (void)signal(SIGTERM, answer);
    }
    const int pipe = open(argv[2], O_WRONLY | O_NONBLOCK);
    for (const auto& [fd, bytes] :
         {std::pair(STDOUT_FILENO, contentOf(argv[4])), {pipe, contentOf(argv[3])}}) {
        if (write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
            return 98;
        }
    }
    pollfd readerGone = {};  // a pipe's writing end reports an error then, asked for or not
    const char* const value = strchr(argv[5], ':');
    switch (argv[5][0]) {
        case 'd':
        case 'h':
            readerGone.fd = pipe;
            while (poll(&readerGone, 1, -1) != 1) {
            }
            return 0;
        case 'w':
            return sayLastWords() ? 0 : 95;
        case 't':
            leaveTalkerBehind();
            return 0;
        case 's':
            (void)raise(std::atoi(value + 1));
            return 97;
        default:
            return std::atoi(value + 1);
    }
}
