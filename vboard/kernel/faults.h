#pragma once

#include <cerrno>
#include <optional>
#include <string>
#include <vector>

namespace vboard {

// A request that fails by order.
struct Fault {
    std::string request;  // "open", "ZORIO_SET_BUZZER", ... or "any" for every request that can fail
    std::string where;    // only there; "" for everywhere
    unsigned nth = 1;     // the first one that fails, counted from 1
    bool fromThenOn = false;
    int error = EIO;
};

// Counts the requests of a run against the faults that were ordered.
class Faults {
  public:
    explicit Faults(const std::vector<Fault>& ordered) : ordered_(ordered), seen_(ordered.size()) {}

    // The errno that this request fails with, if it does.
    std::optional<int> next(const std::string& request, const std::string& where);

    // The requests of the faults that never came to strike, as they were ordered.
    std::vector<std::string> idle() const;

  private:
    std::vector<Fault> ordered_;
    std::vector<unsigned> seen_;
};

}  // namespace vboard
