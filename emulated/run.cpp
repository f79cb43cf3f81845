#include "emulated/run.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "r8/contract/report_record.h"

namespace emulated {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::chrono::seconds bootLimit{90};
constexpr std::size_t readBytes = 4096;

}  // namespace

Run::Run(const Options& options, vboard::VirtualBoard& board, const std::vector<std::string>& toolArguments)
    : options_(options),
      board_(board),
      qemu_(options.machine),
      farEnds_(board),
      plan_(makePlan(board, toolArguments, folder_.path)),
      console_(stdout, options.raw, options.timestamps),
      errors_(stderr, options.raw, options.timestamps) {}

vboard::Time Run::sinceToolStart() const {
    return toolStart_ ? vboard::Time(SteadyClock::now() - *toolStart_) : vboard::Time(0);
}

// In the order in which they are looked at: what was sent on a line comes before the request that follows it.
void Run::openChannels() {
    panel_ = qemu_.addChannel("panel");
    rs485_ = qemu_.addChannel("rs485");
    qemu_.add({"-chardev", "null,id=unused0", "-chardev", "null,id=unused2", "-device",
               "pci-serial-4x,chardev1=unused0,chardev2=rs485,chardev3=unused2,chardev4=panel"});
    monitor_ = qemu_.addChannel("monitor");
    qemu_.add({"-mon", "chardev=monitor,mode=control", "-S"});
    connect(panel_, [this](std::string_view bytes) { FarEnds::hear(board_.panel.line, bytes); });
    connect(rs485_, [this](std::string_view bytes) { FarEnds::hear(board_.rs485.line, bytes); });
    connect(monitor_, [this](std::string_view bytes) {
        if (bytes.find("\"error\"") != std::string_view::npos) {
            stopReason_ = "qemu refused: " + std::string(bytes);
        }
    });
    out_ = qemu_.addPort("out");
    connect(out_, [this](std::string_view bytes) { console_.show(sinceToolStart(), bytes); });
    connect(qemu_.addPort("err"), [this](std::string_view bytes) { errors_.show(sinceToolStart(), bytes); });
    connect(qemu_.addPort("records"), [this](std::string_view bytes) { hearRecords(bytes); });
    agent_ = qemu_.addPort("agent");
    controlPort_ = qemu_.addPort("control");
    connect(controlPort_, [this](std::string_view bytes) { hearControl(bytes); });
    connect(agent_,
            [this](std::string_view bytes) { hearAgent(bytes); });  // last: "ended" means that all is read
}

void Run::startMachine(const std::vector<std::string>& monitor) {
    const std::filesystem::path log = std::filesystem::path(options_.machine) / "console.log";
    powerOn_ = SteadyClock::now();
    qemu_.start(log);
    say("Debian's kernel boots on an emulated 32-bit ARM machine, this takes some 10 s (its log: " +
        log.string() + ")");
    sendAll(monitor_, "{\"execute\":\"qmp_capabilities\"}");
    for (const std::string& command : monitor) {
        sendAll(monitor_, command);
    }
    sendAll(monitor_, "{\"execute\":\"cont\"}");
}

int Run::pollTimeout() const {
    constexpr int atLeastEvery = 1000;  // ms, for the limits
    if (!toolStart_ || !farEnds_.hasEvents()) {
        return atLeastEvery;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(farEnds_.nextEvent() - sinceToolStart()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, atLeastEvery));
}

// False when the channel has nothing more to say now.
bool Run::take(Channel& channel) {
    char bytes[readBytes];
    const ssize_t count = read(channel.fd, bytes, sizeof bytes);
    if (count > 0) {
        channel.receive({bytes, static_cast<std::size_t>(count)});
        return true;
    }
    if (count == 0 || errno != EAGAIN) {
        stopReason_ = stopReason_.empty() ? "the emulated machine went away" : stopReason_;
    }
    return false;
}

void Run::serveLines() {
    farEnds_.catchUp(sinceToolStart());
    if (farEnds_.isSending()) {
        return;
    }
    if (board_.panel.present) {
        sendAll(panel_, FarEnds::say(board_.panel.line));
    }
    if (board_.rs485.present) {
        sendAll(rs485_, FarEnds::say(board_.rs485.line));
    }
}

void Run::listen() {
    std::vector<pollfd> waiting;
    for (const Channel& channel : channels_) {
        waiting.push_back({channel.fd, POLLIN, 0});
    }
    (void)poll(waiting.data(), waiting.size(),
               pollTimeout());  // an interrupted one is as good as a short one
    serveLines();
    for (Channel& channel : channels_) {
        while (stopReason_.empty() && take(channel)) {
            serveLines();
        }
    }
    const auto limit = toolStart_ ? std::chrono::duration<double>(options_.limitSeconds) : bootLimit;
    const double spent =
        toolStart_ ? std::chrono::duration<double>(sinceToolStart()).count() : sincePowerOn();
    if (spent > limit.count() && !status_) {
        stopReason_ = toolStart_ ? "the tool did not end in time" : "the machine did not come up in time";
    }
}

void Run::hearAgent(std::string_view bytes) {
    for (const char character : bytes) {
        if (character != '\n') {
            agentLine_ += character;
            continue;
        }
        obeyAgent(std::exchange(agentLine_, ""));
    }
}

void Run::obeyAgent(const std::string& line) {
    char text[64];
    (void)std::snprintf(text, sizeof text, " after %.1f s", sincePowerOn());
    if (line == "ready") {
        say("the machine is up" + std::string(text) + ", the board is put together");
        for (const std::string& command : plan_.guest) {
            sendAll(agent_, command + "\n");
        }
    } else if (line == "started") {
        toolStart_ = SteadyClock::now();
        orderTyping();
        say("the tool starts" + std::string(text));
    } else if (line.starts_with("ended ")) {
        status_ = std::stoi(line.substr(6));
    } else if (line.starts_with("gave up")) {
        stopReason_ = line;
    } else {
        leftSomething_ = leftSomething_ || line.starts_with("left");
        say(line);
    }
}

void Run::hearControl(std::string_view bytes) {
    control_ += bytes;
    while (control_.size() >= sizeof(ControlMessage)) {
        ControlMessage message;
        std::memcpy(&message, control_.data(), sizeof message);
        control_.erase(0, sizeof message);
        farEnds_.answer(message);
        sendAll(controlPort_, {reinterpret_cast<const char*>(&message), sizeof message});
    }
}

void Run::showRecords(std::string_view bytes) {
    records_ += bytes;
    while (records_.size() >= reportRecordHeaderBytes) {
        std::uint32_t length = 0;
        std::memcpy(&length, records_.data() + reportRecordLengthOffset, sizeof length);
        if (records_.size() - reportRecordHeaderBytes < length) {
            return;
        }
        console_.show(sinceToolStart(), records_.substr(reportRecordHeaderBytes, length));
        records_.erase(0, reportRecordHeaderBytes + length);
    }
}

void Run::hearRecords(std::string_view bytes) {
    if (options_.fifo.empty()) {
        showRecords(bytes);
        return;
    }
    if (fifo_ < 0) {
        fifo_ = open(options_.fifo.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK);
        if (fifo_ < 0) {
            throw std::system_error(errno, std::generic_category(), options_.fifo);
        }
        (void)fcntl(fifo_, F_SETFL, 0);
    }
    sendAll(fifo_, bytes);
}

void Run::orderTyping() {
    for (const vboard::TypedText& typed : board_.operatorInput.types) {
        farEnds_.clock().at(typed.at, [this, text = typed.text] { sendAll(out_, text); });
    }
}

void Run::closeUp() {
    console_.endLine();
    errors_.endLine();
    if (fifo_ >= 0) {
        (void)close(fifo_);
    }
    if (!options_.traceFile.empty()) {
        std::ofstream file(options_.traceFile);
        file << toText(farEnds_.trace);
        if (!file.flush()) {
            throw std::runtime_error("can not write the trace to " + options_.traceFile);
        }
    }
    for (const vboard::TraceEntry& entry : farEnds_.trace) {
        if (entry.refused) {
            say(entry.text());
        }
    }
    for (const std::string& request : farEnds_.idleFaults()) {
        say("the fault of \"" + request + "\" never struck");
    }
}

int Run::perform() {
    connect(signals_, [this](std::string_view) { stopReason_ = "stopped by a signal"; });
    openChannels();
    qemu_.add(plan_.machine);
    startMachine(plan_.monitor);
    while (stopReason_.empty() && !status_) {
        listen();
    }
    const double spent = std::chrono::duration<double>(sinceToolStart()).count();
    closeUp();
    if (!stopReason_.empty()) {
        say("stopped: " + stopReason_);
        return stoppedByBoard;
    }
    say("the tool ended with status " + std::to_string(*status_) + " after " + std::to_string(spent) + " s");
    return leftSomething_ ? stoppedByBoard : *status_;
}

}  // namespace emulated
