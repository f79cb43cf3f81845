#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/descriptor.h"
#include "vboard/kernel/machine.h"
#include "vboard/scenario/section.h"

namespace vboard {

// The supervising process of the networked mode, at the reading end of "/var/r8.fifo".
class Supervisor : public Device, public Node {
  public:
    enum class Reader {
        reads,   // every record at once
        absent,  // nobody has the pipe open
        never,   // has it open and never reads: the pipe fills up
    };

    bool fifoPresent = true;
    Reader reader = Reader::reads;
    std::optional<unsigned> leavesAfter;  // records; then the pipe has no reader any more
    std::size_t pipeBytes = 65536;        // what the pipe holds; Linux's default, pipe(7)
    std::string hostFifo;                 // a host's FIFO that gets what the tool writes, instead of us

    std::vector<std::string> writes;  // what each write(2) brought, whole

    // Called with each write as it comes, for whoever watches.
    std::function<void(Time, std::string_view)> onWrite;

    const char* scenarioTable() const override { return "supervisor"; }
    void configure(Section& section) override;
    void plugIn(Machine& machine) override;
    Result open(const OpenFile& file) override;
    void close(const OpenFile& file) override;
    Result write(OpenFile& file, std::span<const std::uint8_t> bytes) override;

  private:
    Result openHostFifo();

    const Clock* clock_ = nullptr;
    std::size_t unread_ = 0;  // bytes in the pipe
    host::Descriptor hostPipe_;
};

}  // namespace vboard
