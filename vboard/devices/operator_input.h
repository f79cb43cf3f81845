#pragma once

#include <string>
#include <vector>

#include "vboard/kernel/machine.h"
#include "vboard/scenario/section.h"

namespace vboard {

// Something that the operator types, line break included.
struct TypedText {
    Time at{0};
    std::string text;
};

// The operator at the tool's standard input.
class OperatorInput : public Device, public Node {
  public:
    std::vector<TypedText> types;
    bool closed = false;  // standard input is at its end from the start, as under a daemon

    const char* scenarioTable() const override { return "operator"; }
    void configure(Section& section) override;
    void plugIn(Machine& machine) override;
    Result read(OpenFile& file, std::span<std::uint8_t> into) override;
    bool readable() const override { return closed || !waiting_.empty(); }

  private:
    std::string waiting_;
};

}  // namespace vboard
