#pragma once

#include <sched.h>

#include "host/descriptor.h"

namespace vboard {

// Keeps this thread, and the tool that it starts meanwhile, on one core: only one of the two runs at a time,
// and a hand-over within a core costs a tenth of waking another one that sleeps. No two boards of the host
// take the same core; when all are taken, or may not be chosen, the host's scheduler decides as usual.
class OwnCore {
  public:
    OwnCore();
    ~OwnCore();
    OwnCore(const OwnCore&) = delete;
    OwnCore& operator=(const OwnCore&) = delete;

  private:
    cpu_set_t before_ = {};
    host::Descriptor claim_;  // closed by the kernel too, whichever way the board ends
};

}  // namespace vboard
