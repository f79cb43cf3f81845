#pragma once

#include <chrono>
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include "emulated/case.h"
#include "emulated/far_ends.h"
#include "emulated/machine.h"
#include "emulated/plan.h"
#include "vboard/launcher/screen.h"

namespace emulated {

// Where what a run brings goes.
struct Streams {
    std::FILE* output;
    std::FILE* errors;
    std::FILE* remarks;            // how it went, a line each
    std::string traceFile;         // requests on the control device; "" for none
    std::string fifo;              // the records go to the reader of this FIFO
    std::FILE* records = nullptr;  // or there, as bytes; neither: they are shown
    bool raw = false;
    bool timestamps = false;
};

// One case on a machine that is booting or ready, from the board's assembly to what the tool left behind.
class Run {
  public:
    Run(Machine& machine, const Case& which, vboard::VirtualBoard& board, const Streams& streams,
        double limitSeconds);
    ~Run();
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    // The tool's exit status, 128 + n after signal n; none when the run had to be stopped, and the machine is
    // of no more use then.
    std::optional<int> perform();
    bool leftSomething() const { return leftSomething_; }

  private:
    void hearAgent(std::string_view bytes);
    void obeyAgent(const std::string& line);
    void answer(Channel channel, std::string& request, std::string_view bytes);
    void showRecords(std::string_view bytes);
    void hearRecords(std::string_view bytes);
    void orderTyping();
    void serveLines();
    void checkLimit();
    void closeUp();
    void say(const std::string& text) const;
    std::chrono::milliseconds patience() const;
    vboard::Time sinceToolStart() const;

    Machine& machine_;
    vboard::VirtualBoard& board_;
    Streams streams_;
    double limitSeconds_;
    double begin_;  // seconds since power on
    Plan plan_;
    FarEnds farEnds_;
    vboard::Screen console_;
    vboard::Screen errors_;
    std::string agentLine_;
    // What is not whole yet: a request on a device in user space, a record.
    std::string controlRequest_;
    std::string clockRequest_;
    std::string records_;
    int fifo_ = -1;
    std::optional<std::chrono::steady_clock::time_point> toolStart_;
    std::optional<int> status_;
    bool leftSomething_ = false;
};

}  // namespace emulated
