#include "station/show/operator_prompt.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <iostream>
#include <optional>

#include "host/descriptor.h"
#include "station/link/time_limit.h"
#include "station/link/tool_process.h"

namespace station {

namespace {

constexpr int lookMilliseconds = 250;       // how late the limit may be seen
constexpr int aloneMilliseconds = 100;      // nobody presses two keys in that time, and scanners do
constexpr std::size_t longestTyped = 4096;  // behind it the limit is looked at again
constexpr const char* keysAsked = " [y/n] ";

// Keys come as they are pressed, as long as this object lives.
class SingleKeys {
  public:
    SingleKeys() {
        if (tcgetattr(STDIN_FILENO, &before_) == 0) {
            termios keys = before_;
            keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
            keys.c_cc[VMIN] = 1;
            keys.c_cc[VTIME] = 0;
            changed_ = tcsetattr(STDIN_FILENO, TCSANOW, &keys) == 0;
        }
    }
    ~SingleKeys() {
        if (changed_) {
            (void)tcsetattr(STDIN_FILENO, TCSANOW, &before_);  // a terminal that is gone needs nothing
        }
    }
    SingleKeys(const SingleKeys&) = delete;
    SingleKeys& operator=(const SingleKeys&) = delete;

  private:
    termios before_ = {};
    bool changed_ = false;
};

// None: no answer yet. A key counts that was pressed alone, or before Enter: a scanner's text or a pasted one
// is no answer, whatever it holds.
std::optional<OperatorAnswer> readKey() {
    std::string typed;
    pollfd more = {STDIN_FILENO, POLLIN, 0};
    do {
        char keys[64];
        const ssize_t count = read(STDIN_FILENO, keys, sizeof keys);
        if (count < 1) {
            return count < 0 && errno == EINTR ? std::nullopt : std::optional(OperatorAnswer::none);
        }
        typed.append(keys, static_cast<std::size_t>(count));
    } while (typed.size() < longestTyped && poll(&more, 1, aloneMilliseconds) > 0);
    if (typed.size() == 2 && (typed[1] == '\n' || typed[1] == '\r')) {
        typed.pop_back();
    }
    return typed == "y" || typed == "Y"   ? std::optional(OperatorAnswer::yes)
           : typed == "n" || typed == "N" ? std::optional(OperatorAnswer::no)
                                          : std::nullopt;
}

OperatorAnswer waitForAnswer(const TimeLimit& limit) {
    const host::Descriptor signals = openStopSignals();
    std::array<pollfd, 2> polled = {{{STDIN_FILENO, POLLIN, 0}, {signals.get(), POLLIN, 0}}};
    while (!limit.isOver()) {
        const int ready = poll(polled.data(), polled.size(), lookMilliseconds);
        host::require(ready >= 0 || errno == EINTR, "poll");
        if (ready > 0 && polled[1].revents != 0) {
            return OperatorAnswer::stopped;
        }
        if (ready > 0 && polled[0].revents != 0) {
            if (const std::optional<OperatorAnswer> answer = readKey()) {
                return *answer;
            }
            std::cout << keysAsked << std::flush;
        }
    }
    return OperatorAnswer::none;
}

}  // namespace

bool personIsThere() {
    return isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
}

OperatorAnswer askOperator(const std::string& question, double limitSeconds) {
    const SingleKeys keys;
    (void)tcflush(STDIN_FILENO, TCIFLUSH);  // what was typed before the question is no answer to it
    std::cout << question << keysAsked << std::flush;
    const OperatorAnswer answer = waitForAnswer(TimeLimit(limitSeconds));
    std::cout << (answer == OperatorAnswer::yes  ? "y"
                  : answer == OperatorAnswer::no ? "n"
                                                 : "-")
              << '\n'
              << std::flush;
    return answer;
}

}  // namespace station
