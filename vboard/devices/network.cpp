#include "vboard/devices/network.h"

#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>

#include <cstring>

namespace vboard {

namespace {

template <typename Record, typename Fill>
Result answer(std::span<std::uint8_t> bytes, const Fill& fill) {
    Record record;
    if (bytes.size() != sizeof record) {
        return Result::refusal(ENOTTY);
    }
    std::memcpy(&record, bytes.data(), sizeof record);
    fill(record);
    std::memcpy(bytes.data(), &record, sizeof record);
    return {};
}

}  // namespace

void Network::configure(Section& section) {
    section.each("interface", [&](Section& entry) {
        std::string name;
        entry.text("name", name);
        if (name.empty() || name.size() >= IFNAMSIZ) {
            entry.fail("name", "is the name of an interface, of at most 15 characters");
        }
        NetworkInterface& interface = interfaces[name];
        entry.flag("link", interface.link);
        entry.number("speed", interface.speed);
        entry.flag("fullDuplex", interface.fullDuplex);
        entry.flag("missing", interface.missing);
    });
}

void Network::plugIn(Machine& machine) {
    machine.services.socket = this;
}

Result Network::ioctl(const IoctlRequest& request) {
    const char* text = reinterpret_cast<const char*>(request.data.data());
    const auto found = interfaces.find(std::string(text, strnlen(text, IFNAMSIZ)));
    if (found == interfaces.end() || found->second.missing) {
        return Result::failure(ENODEV);
    }
    const NetworkInterface& interface = found->second;
    const std::span<std::uint8_t> record = request.data.subspan(IFNAMSIZ);
    std::uint32_t command = 0;
    std::memcpy(&command, record.data(), sizeof command);
    if (command == ETHTOOL_GLINK) {
        return answer<ethtool_value>(record, [&](ethtool_value& value) { value.data = interface.link; });
    }
    if (command == ETHTOOL_GSET) {
        return answer<ethtool_cmd>(record, [&](ethtool_cmd& settings) {
            ethtool_cmd_speed_set(&settings, interface.speed);
            settings.duplex = interface.unknownDuplex ? DUPLEX_UNKNOWN
                              : interface.fullDuplex  ? DUPLEX_FULL
                                                      : DUPLEX_HALF;
        });
    }
    return Result::refusal(EOPNOTSUPP);
}

}  // namespace vboard
