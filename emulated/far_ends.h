#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "emulated/control_message.h"
#include "vboard/board.h"
#include "vboard/kernel/faults.h"
#include "vboard/kernel/trace.h"

namespace emulated {

// The virtual board's models of the control device, the panel and the RS485 bus, at the far ends of the
// emulated machine's channels. Their clock follows the wall clock.
class FarEnds {
  public:
    explicit FarEnds(vboard::VirtualBoard& board);

    // Lets happen what is due by now, counted from the tool's start.
    void catchUp(vboard::Time now);

    // A line of bytes is under way. It goes to the machine as a whole: the other programs of the host would
    // else tear holes into it that no line has.
    bool isSending() const;
    bool hasEvents() const { return machine_.clock.hasEvents(); }
    vboard::Time nextEvent() const { return machine_.clock.nextEvent(); }
    vboard::Clock& clock() { return machine_.clock; }

    // Answers a request on the control device, or on the clock chip, in place.
    void answer(ControlMessage& message);
    void answerClock(ControlMessage& message);

    // Bytes that the machine sent on a line, and those that came in for it since.
    static void hear(vboard::SerialLine& line, std::string_view bytes);
    static std::string say(vboard::SerialLine& line);

    vboard::Trace trace;
    std::vector<std::string> idleFaults() const { return faults_.idle(); }

  private:
    std::string taskName(std::uint32_t process);

    vboard::VirtualBoard& board_;
    vboard::Machine machine_;
    vboard::Faults faults_;
    std::uint32_t firstProcess_ = 0;
};

}  // namespace emulated
