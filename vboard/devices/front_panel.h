#pragma once

#include <string>
#include <vector>

#include "vboard/devices/serial_line.h"
#include "vboard/kernel/machine.h"
#include "vboard/scenario/section.h"

namespace vboard {

// The front panel on "/dev/ttyS3": a board of its own with keys and lamps. It answers the query, and its keys
// are pressed once the lamps are set after a query.
class FrontPanel : public Device {
  public:
    enum class Lamps { off, green, red };

    // To set before a run.
    bool present = true;             // the port is there
    SerialLine line;                 // the main board's side of it
    std::vector<TimedBytes> answer;  // to a query, at counts from its last byte; none: the panel is silent
    std::vector<TimedBytes> sends;   // at counts from the lamps' first setting after a query

    // To look at after a run.
    Lamps lamps = Lamps::off;
    std::vector<TimedBytes> frames;  // good ones
    unsigned badFrames = 0;          // wrong start, length, first payload byte or checksum

    // A frame to the main board with this type and data, and the one of a key event. A key that no panel has
    // throws std::out_of_range.
    static std::vector<std::uint8_t> frame(const std::vector<std::uint8_t>& typeAndData);
    static std::vector<std::uint8_t> keyFrame(const std::string& key);

    // Presses these keys, the first one after a spacing, and nothing else.
    void press(const std::vector<std::string>& keys, Time spacing = std::chrono::milliseconds(500));

    // The frames in hexadecimal, a line each, without the heartbeats.
    std::string frameTexts() const;

    const char* scenarioTable() const override { return "panel"; }
    void configure(Section& section) override;
    void plugIn(Machine& machine) override;

  private:
    void take(std::uint8_t byte);
    void obey(const std::vector<std::uint8_t>& frame);

    Clock* clock_ = nullptr;
    std::vector<std::uint8_t> received_;  // of the frame that is coming in
    bool keysWaitForLamps_ = false;
};

}  // namespace vboard
