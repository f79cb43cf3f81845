#include "vboard/kernel/faults.h"

namespace vboard {

std::optional<int> Faults::next(const std::string& request, const std::string& where) {
    std::optional<int> error;
    for (std::size_t i = 0; i < ordered_.size(); ++i) {
        const Fault& fault = ordered_[i];
        const bool matches = (fault.request == "any" || fault.request == request) &&
                             (fault.where.empty() || fault.where == where);
        if (!matches) {
            continue;
        }
        const unsigned count = ++seen_[i];
        if (!error && (count == fault.nth || (fault.fromThenOn && count > fault.nth))) {
            error = fault.error;
        }
    }
    return error;
}

std::vector<std::string> Faults::idle() const {
    std::vector<std::string> requests;
    for (std::size_t i = 0; i < ordered_.size(); ++i) {
        if (seen_[i] < ordered_[i].nth) {
            requests.push_back(ordered_[i].request);
        }
    }
    return requests;
}

}  // namespace vboard
