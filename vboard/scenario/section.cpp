#include "vboard/scenario/section.h"

#include "vboard/kernel/trace.h"

namespace vboard {

void readErrorNumber(Section& section, const std::string& key, int& target) {
    std::string name;
    section.text(key, name);
    if (section.has(key) && (target = errorNumber(name)) == 0) {
        section.fail(key, "is the name of an errno, like \"EIO\"");
    }
}

}  // namespace vboard
