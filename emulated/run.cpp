#include "emulated/run.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "r8/contract/report_record.h"

namespace emulated {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr double assemblySeconds = 900;  // for the start and the board's assembly, on a very busy host

}  // namespace

Run::Run(Machine& machine, const Case& which, vboard::VirtualBoard& board, const Streams& streams,
         double limitSeconds)
    : machine_(machine),
      board_(board),
      streams_(streams),
      limitSeconds_(limitSeconds),
      begin_(machine.sincePowerOn()),
      plan_(makePlan(board, which, machine.hardware(), machine.plugs())),
      farEnds_(board),
      console_(streams.output, streams.raw, streams.timestamps),
      errors_(streams.errors, streams.raw, streams.timestamps) {
    const auto hear = [&machine](Channel channel, Machine::Listener listener) {
        machine.onBytes(channel, std::move(listener));
    };
    hear(Channel::panel, [this](std::string_view bytes) { FarEnds::hear(board_.panel.line, bytes); });
    hear(Channel::rs485, [this](std::string_view bytes) { FarEnds::hear(board_.rs485.line, bytes); });
    hear(Channel::output, [this](std::string_view bytes) { console_.show(sinceToolStart(), bytes); });
    hear(Channel::errors, [this](std::string_view bytes) { errors_.show(sinceToolStart(), bytes); });
    hear(Channel::records, [this](std::string_view bytes) { hearRecords(bytes); });
    hear(Channel::agent, [this](std::string_view bytes) { hearAgent(bytes); });
    hear(Channel::control,
         [this](std::string_view bytes) { answer(Channel::control, controlRequest_, bytes); });
    hear(Channel::clock, [this](std::string_view bytes) { answer(Channel::clock, clockRequest_, bytes); });
}

Run::~Run() {
    for (std::size_t channel = 0; channel < channelCount; ++channel) {
        machine_.onBytes(static_cast<Channel>(channel), nullptr);
    }
    if (fifo_ >= 0) {
        (void)close(fifo_);
    }
}

void Run::say(const std::string& text) const {
    (void)std::fprintf(streams_.remarks, "emulated: %s\n", text.c_str());
    (void)std::fflush(streams_.remarks);
}

vboard::Time Run::sinceToolStart() const {
    return toolStart_ ? vboard::Time(SteadyClock::now() - *toolStart_) : vboard::Time(0);
}

std::chrono::milliseconds Run::patience() const {
    using std::chrono::milliseconds;
    constexpr milliseconds atLeastEvery(1000);  // for the limits
    if (!toolStart_ || !farEnds_.hasEvents()) {
        return atLeastEvery;
    }
    const auto left = std::chrono::ceil<milliseconds>(farEnds_.nextEvent() - sinceToolStart());
    return std::clamp(left, milliseconds(0), atLeastEvery);
}

void Run::serveLines() {
    farEnds_.catchUp(sinceToolStart());
    if (farEnds_.isSending() || status_) {
        return;
    }
    if (board_.panel.present) {
        machine_.send(Channel::panel, FarEnds::say(board_.panel.line));
    }
    if (board_.rs485.present) {
        machine_.send(Channel::rs485, FarEnds::say(board_.rs485.line));
    }
}

void Run::checkLimit() {
    if (toolStart_ && std::chrono::duration<double>(sinceToolStart()).count() > limitSeconds_) {
        machine_.stop("the tool did not end in time");
    } else if (!toolStart_ && machine_.sincePowerOn() - begin_ > assemblySeconds) {
        machine_.stop("the board was not put together in time");
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
    (void)std::snprintf(text, sizeof text, " %.1f s after power on", machine_.sincePowerOn());
    if (line == "ready") {
        say("the machine is up" + std::string(text) + ", the board is put together");
    } else if (line == "started") {
        toolStart_ = SteadyClock::now();
        orderTyping();
        say("the tool starts" + std::string(text));
    } else if (line.starts_with("ended ")) {
        status_ = std::stoi(line.substr(6));
    } else if (line.starts_with("gave up")) {
        machine_.stop(line);
    } else {
        leftSomething_ = leftSomething_ || line.starts_with("left");
        say(line);
    }
}

void Run::answer(Channel channel, std::string& request, std::string_view bytes) {
    request += bytes;
    while (request.size() >= sizeof(ControlMessage)) {
        ControlMessage message;
        std::memcpy(&message, request.data(), sizeof message);
        request.erase(0, sizeof message);
        if (channel == Channel::clock) {
            farEnds_.answerClock(message);
        } else {
            farEnds_.answer(message);
        }
        machine_.send(channel, {reinterpret_cast<const char*>(&message), sizeof message});
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
    if (streams_.records != nullptr) {
        (void)std::fwrite(bytes.data(), 1, bytes.size(),
                          streams_.records);  // a short file shows in what it holds
        return;
    }
    if (streams_.fifo.empty()) {
        showRecords(bytes);
        return;
    }
    if (fifo_ < 0) {
        fifo_ = open(streams_.fifo.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK);
        if (fifo_ < 0) {
            throw std::system_error(errno, std::generic_category(), streams_.fifo);
        }
        (void)fcntl(fifo_, F_SETFL, 0);
    }
    sendAll(fifo_, bytes);
}

void Run::orderTyping() {
    for (const vboard::TypedText& typed : board_.operatorInput.types) {
        farEnds_.clock().at(typed.at, [this, text = typed.text] { machine_.send(Channel::output, text); });
    }
}

void Run::closeUp() {
    console_.endLine();
    errors_.endLine();
    if (!streams_.traceFile.empty()) {
        std::ofstream file(streams_.traceFile);
        file << toText(farEnds_.trace);
        if (!file.flush()) {
            throw std::runtime_error("can not write the trace to " + streams_.traceFile);
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

std::optional<int> Run::perform() {
    for (const std::string& command : plan_.monitor) {
        machine_.command(command);
    }
    for (const std::string& command : plan_.guest) {
        machine_.send(Channel::agent, command + "\n");
    }
    while (machine_.stopReason().empty() && !status_) {
        machine_.listen(patience(), [this] { serveLines(); });
        checkLimit();
    }
    const double spent = std::chrono::duration<double>(sinceToolStart()).count();
    closeUp();
    if (!status_) {
        say("stopped: " + machine_.stopReason());
        return std::nullopt;
    }
    say("the tool ended with status " + std::to_string(*status_) + " after " + std::to_string(spent) + " s");
    return status_;
}

}  // namespace emulated
