#pragma once

#include <vector>

#include "vboard/devices/rs485_switches.h"
#include "vboard/devices/serial_line.h"
#include "vboard/kernel/machine.h"
#include "vboard/scenario/section.h"

namespace vboard {

// The answer of a test device in order: lead byte, then what identifies it.
std::vector<std::uint8_t> goodAnswer();

// What the RS485 test device answers to one command frame. Without bytes it stays silent.
struct TestDeviceAnswer {
    std::vector<std::uint8_t> bytes = goodAnswer();
    unsigned leadingZeros = 0;
    Time after = std::chrono::milliseconds(20);  // from the frame's last byte to the answer's start bit
    std::size_t tornAfter = 0;                   // bytes, leading zeros included, before a gap
    Time gap{0};
};

// The RS485 port "/dev/ttyS1", its transceiver and the two-wire bus with the test device on it. A byte whose
// last bit leaves the port with the transmitter off is not on the bus; one that ends with the receiver off is
// lost. With both on the port hears itself.
class Rs485Bus : public Device {
  public:
    // To set before a run.
    bool present = true;                    // the port is there
    SerialLine line;                        // the main board's side of it
    std::vector<TestDeviceAnswer> answers;  // to the first command frame, the second, ...; good ones follow
    bool deviceConnected = true;
    bool hearsItself = true;
    unsigned corruptedByte = 0;  // of those that it hears of itself, counted from 1; 0: none

    // To look at after a run.
    std::vector<TimedBytes> frames;  // good ones that the test device got, stop frames included
    unsigned badFrames = 0;          // wrong start, address or checksum
    unsigned bytesNotDriven = 0;     // sent with the transmitter off
    unsigned bytesNotHeard = 0;      // arrived with the receiver off

    explicit Rs485Bus(Rs485Switches& switches) : switches_(switches) {}

    const char* scenarioTable() const override { return "rs485"; }
    void configure(Section& section) override;
    void plugIn(Machine& machine) override;

  private:
    void drive(std::uint8_t byte);
    void take(std::uint8_t byte);
    void answerCommand();

    Rs485Switches& switches_;
    Clock* clock_ = nullptr;
    std::vector<std::uint8_t> received_;
    std::size_t commandCount_ = 0;
    unsigned echoCount_ = 0;
};

}  // namespace vboard
