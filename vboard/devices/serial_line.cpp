#include "vboard/devices/serial_line.h"

#include <algorithm>
#include <iterator>

namespace vboard {

namespace {

constexpr std::size_t receiveQueueBytes = 4096;
constexpr int fifoTimeoutCharacters = 4;  // a UART hands over what it has when the line pauses
constexpr std::uint8_t xon = 0x11;
constexpr std::uint8_t xoff = 0x13;

struct Rate {
    speed_t code;
    unsigned baud;
};
constexpr Rate rates[] = {
    {B300, 300},   {B600, 600},     {B1200, 1200},   {B1800, 1800},   {B2400, 2400},     {B4800, 4800},
    {B9600, 9600}, {B19200, 19200}, {B38400, 38400}, {B57600, 57600}, {B115200, 115200},
};

// 0 when no line of the board runs at that speed.
unsigned baudOf(const termios& attributes) {
    const auto found = std::find_if(std::begin(rates), std::end(rates),
                                    [&](const Rate& rate) { return rate.code == cfgetospeed(&attributes); });
    return found == std::end(rates) ? 0 : found->baud;
}

unsigned dataBitsOf(tcflag_t control) {
    switch (control & CSIZE) {
        case CS5:
            return 5;
        case CS6:
            return 6;
        case CS7:
            return 7;
        default:
            return 8;
    }
}

Time timeOfBits(unsigned bits, unsigned baud) {
    return Time(std::chrono::seconds(bits)) / baud;
}

}  // namespace

// As a serial driver sets up a port: a cooked terminal, 8N1, at a speed that nobody on the board uses. Who
// opens the port has to set it.
SerialLine::SerialLine() {
    attributes.c_iflag = ICRNL | IXON;
    attributes.c_oflag = OPOST | ONLCR;
    attributes.c_cflag = CS8 | CREAD | HUPCL | CLOCAL;
    attributes.c_lflag = ISIG | ICANON | ECHO | ECHOE | ECHOK | IEXTEN;
    attributes.c_cc[VMIN] = 1;
    (void)cfsetispeed(&attributes, B38400);
    (void)cfsetospeed(&attributes, B38400);
}

void SerialLine::plugIn(Machine& machine, const std::string& path) {
    clock_ = &machine.clock;
    transmitQueue_.clear();
    receiveFifo_.clear();
    receiveQueue_.clear();
    transmitting_ = false;
    openCount_ = 0;
    otherEndBusyUntil_ = Time(0);
    machine.root.add(path, *this);
}

Time SerialLine::characterTime() const {
    const tcflag_t control = attributes.c_cflag;
    const unsigned parityBits = (control & PARENB) != 0 ? 1 : 0;
    const unsigned stopBits = (control & CSTOPB) != 0 ? 2 : 1;
    return timeOfBits(1 + dataBitsOf(control) + parityBits + stopBits, baudOf(attributes));
}

std::uint8_t SerialLine::arrivedAtOtherEnd(std::uint8_t byte) const {
    const bool understood =
        baudOf(attributes) == 9600 && (attributes.c_cflag & (CSIZE | PARENB | CSTOPB)) == CS8;
    return understood ? byte : static_cast<std::uint8_t>(~byte);
}

void SerialLine::send(const std::vector<std::uint8_t>& bytes) {
    otherEndBusyUntil_ = std::max(otherEndBusyUntil_, clock_->now());
    for (const std::uint8_t byte : bytes) {
        otherEndBusyUntil_ += otherEndCharacterTime;
        clock_->at(otherEndBusyUntil_, [this, byte] {
            if (!mayReceive || mayReceive()) {
                receive(arrivedAtOtherEnd(byte));
            }
        });
    }
}

void SerialLine::sendLater(const std::vector<TimedBytes>& pieces) {
    for (const TimedBytes& piece : pieces) {
        clock_->after(piece.at, [this, bytes = piece.bytes] { send(bytes); });
    }
}

// The line discipline's input side, as far as the attributes that a raw mode clears go.
void SerialLine::receive(std::uint8_t byte) {
    const tcflag_t input = attributes.c_iflag;
    const bool isFlowCharacter = (input & IXON) != 0 && (byte == xon || byte == xoff);
    const bool isSignal = (attributes.c_lflag & ISIG) != 0 && (byte == 0x03 || byte == 0x1C || byte == 0x1A);
    const bool isIgnoredReturn = (input & IGNCR) != 0 && byte == '\r';
    if (openCount_ == 0 || (attributes.c_cflag & CREAD) == 0 || isFlowCharacter || isSignal ||
        isIgnoredReturn) {
        return;
    }
    if ((input & ICRNL) != 0 && byte == '\r') {
        byte = '\n';
    } else if ((input & INLCR) != 0 && byte == '\n') {
        byte = '\r';
    }
    if ((attributes.c_lflag & ECHO) != 0) {
        transmitQueue_.push_back(byte);
        transmit();
    }
    receiveFifo_.push_back(byte);
    if (receiveFifo_.size() >= receiveTrigger) {
        handOver();
    }
    clock_->after(fifoTimeoutCharacters * characterTime(), [this, count = ++receivedCount_] {
        if (count == receivedCount_) {
            handOver();
        }
    });
}

void SerialLine::handOver() {
    std::move(receiveFifo_.begin(), receiveFifo_.end(), std::back_inserter(receiveQueue_));
    receiveFifo_.clear();
    receiveQueue_.resize(std::min(receiveQueue_.size(), receiveQueueBytes));  // an overrun loses the newest
}

Result SerialLine::open(const OpenFile&) {
    hungUp_ = hungUp_ && openCount_ != 0;
    if (openCount_++ == 0) {
        receiveQueue_.insert(receiveQueue_.end(), waitingAtOpen.begin(), waitingAtOpen.end());
    }
    return {};
}

// The last one to close shuts the receiver down; what is queued for sending still goes out.
void SerialLine::close(const OpenFile&) {
    if (--openCount_ == 0) {
        (void)flush(TCIFLUSH);
    }
}

bool SerialLine::readable() const {
    if (hungUp_) {
        return true;
    }
    const bool byLine = (attributes.c_lflag & ICANON) != 0;
    return byLine ? std::find(receiveQueue_.begin(), receiveQueue_.end(), '\n') != receiveQueue_.end()
                  : !receiveQueue_.empty();
}

Result SerialLine::read(OpenFile&, std::span<std::uint8_t> into) {
    if (hungUp_) {
        return {};
    }
    const std::size_t count = readable() ? std::min(into.size(), receiveQueue_.size()) : 0;
    const auto end = receiveQueue_.begin() + static_cast<std::ptrdiff_t>(count);
    std::copy(receiveQueue_.begin(), end, into.begin());
    receiveQueue_.erase(receiveQueue_.begin(), end);
    return {static_cast<std::int64_t>(count)};
}

Result SerialLine::write(OpenFile&, std::span<const std::uint8_t> bytes) {
    if (hungUp_) {
        return Result::failure(EIO);
    }
    const bool addsReturns = (attributes.c_oflag & OPOST) != 0 && (attributes.c_oflag & ONLCR) != 0;
    std::size_t accepted = 0;
    while (accepted < bytes.size() && writable()) {
        if (addsReturns && bytes[accepted] == '\n') {
            transmitQueue_.push_back('\r');
        }
        transmitQueue_.push_back(bytes[accepted++]);
    }
    transmit();
    return {static_cast<std::int64_t>(accepted)};
}

void SerialLine::transmit() {
    if (transmitting_ || transmitQueue_.empty()) {
        return;
    }
    transmitting_ = true;
    const std::uint8_t byte = transmitQueue_.front();
    transmitQueue_.pop_front();
    clock_->after(characterTime(), [this, byte] {
        if (onByteSent) {
            onByteSent(byte);
        }
        clock_->after(pauseAfterByte, [this] {
            transmitting_ = false;
            transmit();
        });
    });
}

Result SerialLine::getAttributes(termios& into) {
    into = attributes;
    return {};
}

Result SerialLine::setAttributes(const termios& from) {
    if (baudOf(from) == 0) {
        return Result::refusal(EINVAL);
    }
    attributes = from;
    return {};
}

Result SerialLine::flush(int queue) {
    if (queue != TCOFLUSH) {
        receiveFifo_.clear();
        receiveQueue_.clear();
    }
    if (queue != TCIFLUSH) {
        transmitQueue_.clear();
    }
    return {};
}

void readTimedBytes(Section& section, const std::string& key, std::vector<TimedBytes>& pieces) {
    section.each(key, [&](Section& entry) {
        TimedBytes piece;
        entry.seconds("at", piece.at);
        entry.bytes("bytes", piece.bytes);
        pieces.push_back(piece);
    });
}

}  // namespace vboard
