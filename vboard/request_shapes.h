#pragma once

// The ioctl requests that the virtual board has a shape for: code, name, how the argument is passed and how
// many bytes lie at its address. The preload library carries a request by its row here, the board compares
// what comes with the row of the node's own list, and both refuse whatever has none. An argument of
// ArgumentKind::fromDriver travels both ways, for the driver may look at it first.

#include <linux/ethtool.h>
#include <linux/hdreg.h>
#include <linux/rtc.h>
#include <linux/sockios.h>
#include <net/if.h>

#include <span>

#include "r8/contract/ata_identity.h"
#include "r8/contract/control_requests.h"
#include "r8/contract/port_multiplier.h"
#include "vboard/wire.h"

namespace vboard {

using RequestShape = ControlRequest;

constexpr RequestShape clockRequests[] = {
    {static_cast<unsigned>(RTC_RD_TIME), "RTC_RD_TIME", ArgumentKind::fromDriver, sizeof(rtc_time)},
};

// The interface's name, then the record of one of the two commands.
constexpr RequestShape networkRequests[] = {
    {SIOCETHTOOL, "SIOCETHTOOL", ArgumentKind::fromDriver, IFNAMSIZ + sizeof(ethtool_value)},
    {SIOCETHTOOL, "SIOCETHTOOL", ArgumentKind::fromDriver, IFNAMSIZ + sizeof(ethtool_cmd)},
};

constexpr RequestShape driveRequests[] = {
    {HDIO_DRIVE_CMD, "HDIO_DRIVE_CMD", ArgumentKind::fromDriver, driveCommandHeaderBytes + ataSectorBytes},
    {wire::blockSectors, "BLKGETSIZE", ArgumentKind::fromDriver, sizeof(std::uint64_t)},
    {wire::blockBytes, "BLKGETSIZE64", ArgumentKind::fromDriver, sizeof(std::uint64_t)},
    {pmprwRequest, "pmprw", ArgumentKind::fromDriver, pmprwRecordBytes},
};

// The first row of a code; null for any other.
constexpr const RequestShape* findRequest(std::span<const RequestShape> known, unsigned code) {
    for (const RequestShape& shape : known) {
        if (shape.code == code) {
            return &shape;
        }
    }
    return nullptr;
}

// The row of a code with exactly that many bytes; null when there is none.
constexpr const RequestShape* findShape(std::span<const RequestShape> known, unsigned code,
                                        std::size_t bytes) {
    for (const RequestShape& shape : known) {
        if (shape.code == code && shape.bytes == bytes) {
            return &shape;
        }
    }
    return nullptr;
}

}  // namespace vboard
