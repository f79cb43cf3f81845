#pragma once

#include <chrono>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "emulated/far_ends.h"
#include "emulated/host.h"
#include "emulated/plan.h"
#include "emulated/qemu.h"
#include "vboard/launcher/screen.h"

namespace emulated {

constexpr int stoppedByBoard = 3;  // exit status

struct Options {
    std::string scenario;
    std::vector<std::string> command;
    std::string machine;
    std::string traceFile;
    std::string fifo;
    double limitSeconds = 240;
    bool raw = false;
    bool timestamps = false;
};

// One run, from the machine's power on to what the tool left behind.
class Run {
  public:
    Run(const Options& options, vboard::VirtualBoard& board, const std::vector<std::string>& toolArguments);
    int perform();  // the exit status

  private:
    struct Channel {
        int fd;
        std::function<void(std::string_view)> receive;
    };

    void connect(int fd, std::function<void(std::string_view)> receive) {
        channels_.push_back({fd, std::move(receive)});
    }
    void openChannels();
    void startMachine(const std::vector<std::string>& monitor);
    void listen();
    bool take(Channel& channel);
    int pollTimeout() const;
    void serveLines();
    void hearAgent(std::string_view bytes);
    void obeyAgent(const std::string& line);
    void hearControl(std::string_view bytes);
    void showRecords(std::string_view bytes);
    void hearRecords(std::string_view bytes);
    void orderTyping();
    void closeUp();
    static void say(const std::string& text) { (void)std::fprintf(stderr, "emulated: %s\n", text.c_str()); }
    vboard::Time sinceToolStart() const;
    double sincePowerOn() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - powerOn_).count();
    }

    const Options& options_;
    vboard::VirtualBoard& board_;
    const int signals_ = openStopSignals();  // first: nothing that follows may be left behind
    TemporaryFolder folder_;
    Qemu qemu_;
    FarEnds farEnds_;
    Plan plan_;
    vboard::Screen console_;
    vboard::Screen errors_;
    std::vector<Channel> channels_;
    std::string agentLine_;
    std::string control_;
    std::string records_;  // one that is not whole yet
    int agent_ = -1;
    int controlPort_ = -1;
    int out_ = -1;
    int panel_ = -1;
    int rs485_ = -1;
    int monitor_ = -1;
    int fifo_ = -1;
    std::chrono::steady_clock::time_point powerOn_;
    std::optional<std::chrono::steady_clock::time_point> toolStart_;
    std::optional<int> status_;
    std::string stopReason_;
    bool leftSomething_ = false;
};

}  // namespace emulated
