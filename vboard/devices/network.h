#pragma once

#include <map>
#include <string>

#include "vboard/kernel/machine.h"
#include "vboard/scenario/section.h"

namespace vboard {

struct NetworkInterface {
    bool link = true;
    std::uint32_t speed = 1000;  // Mbit/s
    bool fullDuplex = true;
    bool unknownDuplex = false;  // as a driver answers that is still negotiating
    bool missing = false;
};

// The network interfaces behind a socket(2), asked through the kernel's ethtool requests. Over the wire such
// a request is the interface's name in 16 bytes, then the command record of <linux/ethtool.h>.
class Network : public Device, public Node {
  public:
    std::map<std::string, NetworkInterface> interfaces;  // by name, "eth0"

    const char* scenarioTable() const override { return "network"; }
    void configure(Section& section) override;
    void plugIn(Machine& machine) override;
    std::span<const RequestShape> requests() const override { return networkRequests; }
    Result ioctl(const IoctlRequest& request) override;
};

}  // namespace vboard
