#include "vboard/kernel/process.h"

namespace vboard {

int Process::lowestFreeDescriptor() const {
    int descriptor = files.count(0) == 0 ? 0 : 3;  // standard output and error are the host's
    while (files.count(descriptor) != 0) {
        ++descriptor;
    }
    return descriptor;
}

std::shared_ptr<OpenFile> Process::file(int descriptor) const {
    const auto found = files.find(descriptor);
    return found == files.end() ? nullptr : found->second;
}

}  // namespace vboard
