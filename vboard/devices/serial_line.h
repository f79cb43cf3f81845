#pragma once

#include <termios.h>

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "vboard/kernel/machine.h"
#include "vboard/scenario/section.h"

namespace vboard {

// Bytes on a serial line and when: what the other end sends, or a frame that it got.
struct TimedBytes {
    Time at{0};
    std::vector<std::uint8_t> bytes;
};

// A serial port of the board with its terminal, termios(3). Bytes pass at the rate and in the format of the
// terminal's attributes; a terminal that is not raw edits, translates and swallows them as the kernel does.
// The other end runs at 9600 baud, 8N1, and hears and sends damaged bytes when the port does not.
class SerialLine : public Node, public Terminal {
  public:
    // To set before a run. The attributes stay from run to run, as a driver keeps them from open to open.
    termios attributes = {};
    std::size_t transmitQueueBytes = 4096;
    std::size_t receiveTrigger = 1;  // bytes that the receiver hands over together, as a UART with FIFO does
    Time writeTakes{0};              // before a write returns
    Time pauseAfterByte{0};          // the line is held up after each byte that it sends
    std::vector<std::uint8_t> waitingAtOpen;  // what each first open finds in the receive queue already

    // Where a byte goes when its stop bit has left the port.
    std::function<void(std::uint8_t)> onByteSent;

    // Whether a byte of the other end gets through to the receiver; null: always.
    std::function<bool()> mayReceive;

    static constexpr Time otherEndCharacterTime = Time(std::chrono::seconds(10)) / 9600;

    SerialLine();
    void plugIn(Machine& machine, const std::string& path);

    // The other end's side: starts to send now, behind what it is still sending.
    void send(const std::vector<std::uint8_t>& bytes);
    void sendLater(const std::vector<TimedBytes>& pieces);  // at counts from now

    // A byte with its stop bit at the port's receiver, lost while nobody has the port open; and what an end
    // at 9600 8N1 makes of the port's byte.
    void receive(std::uint8_t byte);
    std::uint8_t arrivedAtOtherEnd(std::uint8_t byte) const;

    Time characterTime() const;  // start, data, parity and stop bits

    Result open(const OpenFile& file) override;
    void close(const OpenFile& file) override;
    Result read(OpenFile& file, std::span<std::uint8_t> into) override;
    Result write(OpenFile& file, std::span<const std::uint8_t> bytes) override;
    Time writeDuration() const override { return writeTakes; }
    bool readable() const override;
    bool writable() const override { return transmitQueue_.size() < transmitQueueBytes; }
    Terminal* terminal() override { return this; }

    Result getAttributes(termios& into) override;
    Result setAttributes(const termios& from) override;
    Result flush(int queue) override;
    bool drained() const override { return transmitQueue_.empty() && !transmitting_; }

  private:
    void transmit();
    void handOver();

    Clock* clock_ = nullptr;
    std::deque<std::uint8_t> transmitQueue_;
    std::deque<std::uint8_t> receiveFifo_;  // in the UART, not handed over yet
    std::deque<std::uint8_t> receiveQueue_;
    bool transmitting_ = false;
    unsigned openCount_ = 0;
    std::uint64_t receivedCount_ = 0;
    Time otherEndBusyUntil_{0};
};

// Reads a table of pieces: [[key]] at = seconds, bytes = "FF 06 ...".
void readTimedBytes(Section& section, const std::string& key, std::vector<TimedBytes>& pieces);

}  // namespace vboard
