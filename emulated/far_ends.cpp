#include "emulated/far_ends.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace emulated {

namespace {

constexpr char controlPath[] = "/dev/zorio";
constexpr std::size_t chunkBytes = 512;

// The machine's own driver minds the rate: here the line only carries bytes.
void makeTransparent(vboard::SerialLine& line) {
    cfmakeraw(&line.attributes);
    (void)cfsetispeed(&line.attributes, B9600);
    (void)cfsetospeed(&line.attributes, B9600);
    line.attributes.c_cflag = CS8 | CREAD | CLOCAL | B9600;
    (void)line.open({});
}

std::string hexNumber(std::uint32_t number) {
    char text[16];
    (void)std::snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(number));
    return text;
}

}  // namespace

FarEnds::FarEnds(vboard::VirtualBoard& board) : board_(board), faults_(board.settings.faults) {
    machine_.epoch = board.epoch;
    board.control.plugIn(machine_);
    board.clockChip.plugIn(machine_);
    board.panel.plugIn(machine_);
    board.rs485.plugIn(machine_);
    if (board.panel.present) {
        makeTransparent(board.panel.line);
    }
    if (board.rs485.present) {
        makeTransparent(board.rs485.line);
        board.rs485.line.mayReceive = nullptr;  // the machine runs too unevenly to be held to milliseconds
    }
}

void FarEnds::catchUp(vboard::Time now) {
    machine_.clock.at(now, [] {});
    while (hasEvents() && nextEvent() <= now) {
        machine_.clock.advance();
    }
}

bool FarEnds::isSending() const {
    return hasEvents() && nextEvent() - machine_.clock.now() < 2 * vboard::SerialLine::otherEndCharacterTime;
}

std::string FarEnds::taskName(std::uint32_t process) {
    firstProcess_ = firstProcess_ == 0 ? process : firstProcess_;
    return process == firstProcess_ ? "main" : "task " + std::to_string(process);
}

void FarEnds::answer(ControlMessage& message) {
    vboard::TraceEntry entry;
    const ControlRequest* known = findControlRequest(message.code);
    entry.at = machine_.clock.now();
    entry.task = taskName(message.process);
    entry.request = known == nullptr ? "ioctl " + hexNumber(message.code) : known->name;
    entry.where = controlPath;
    entry.arguments = message.size == 0 ? hexNumber(message.value) : "";
    const std::span<std::uint8_t> data(message.data,
                                       std::min<std::size_t>(message.size, sizeof message.data));
    const std::optional<int> fault = faults_.next(entry.request, entry.where);
    const bool hasItsShape = known != nullptr && data.size() == known->bytes;
    const vboard::Result result = fault         ? vboard::Result::failure(*fault)
                                  : hasItsShape ? board_.control.ioctl({message.code, message.value, data})
                                                : vboard::Result::refusal(ENOTTY);
    entry.data.assign(data.begin(), data.end());
    entry.result = result.value;
    entry.error = message.error = result.error;
    entry.refused = result.refused;
    message.value = static_cast<std::uint32_t>(result.value);
    trace.push_back(entry);
}

void FarEnds::answerClock(ControlMessage& message) {
    const std::span<std::uint8_t> data(message.data,
                                       std::min<std::size_t>(message.size, sizeof message.data));
    const vboard::RequestShape* known =
        vboard::findShape(board_.clockChip.requests(), message.code, data.size());
    const vboard::Result result = known == nullptr
                                      ? vboard::Result::failure(ENOTTY)
                                      : board_.clockChip.ioctl({message.code, message.value, data});
    message.error = result.error;
    message.value = 0;
}

void FarEnds::hear(vboard::SerialLine& line, std::string_view bytes) {
    for (const char byte : bytes) {
        if (line.onByteSent) {
            line.onByteSent(static_cast<std::uint8_t>(byte));
        }
    }
}

std::string FarEnds::say(vboard::SerialLine& line) {
    vboard::OpenFile file;
    std::uint8_t bytes[chunkBytes];
    std::string said;
    while (line.readable()) {
        const auto count = static_cast<std::size_t>(line.read(file, bytes).value);
        said.append(reinterpret_cast<const char*>(bytes), count);
    }
    return said;
}

}  // namespace emulated
