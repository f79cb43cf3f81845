// ioctl(2): what an argument points to travels with the request, both ways.

#include <errno.h>
#include <linux/ethtool.h>
#include <linux/fs.h>
#include <linux/hdreg.h>
#include <linux/rtc.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <stdarg.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>

#include "r8/contract/ata_identity.h"
#include "r8/contract/boot_record.h"
#include "r8/contract/control_requests.h"
#include "r8/contract/cpld_record.h"
#include "r8/contract/port_multiplier.h"
#include "vboard/preload/connection.h"

using vboard::preload::Exchange;
using vboard::wire::Call;

namespace {

struct ArgumentSize {
    unsigned long request;
    std::size_t bytes;
};

// Requests whose argument is an address, with the bytes there. The size in a control-device code says
// nothing: the driver's authors did not keep it up.
constexpr ArgumentSize argumentSizes[] = {
    {ZORIO_GET_CPLD_INFO, sizeof(CpldInfo)}, {ZORIO_GET_BOOT_PARMS, sizeof(BootParams)},
    {ZORIO_GET_STEP_GATE, sizeof(uint32_t)}, {ZORIO_GET_CHIP_TEMP, sizeof(int8_t)},
    {ZORIO_SET_BUZZER, sizeof(uint8_t)},     {ZORIO_ALARM_INIT, sizeof(uint32_t)},
    {ZORIO_SET_ALARM_OUT, sizeof(uint8_t)},  {ZORIO_GET_ALARM_IN, sizeof(uint16_t)},
    {RTC_RD_TIME, sizeof(rtc_time)},         {HDIO_DRIVE_CMD, driveCommandHeaderBytes + ataSectorBytes},
    {pmprwRequest, pmprwRecordBytes},
};

int askByValue(int descriptor, unsigned long request, void* value) {
    return static_cast<int>(
        Exchange(Call::ioctl, descriptor)
            .argument(0, static_cast<std::uint32_t>(request))
            .argument(1, static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(value)))
            .perform());
}

int askByAddress(int descriptor, std::uint32_t request, void* bytes, std::size_t size) {
    Exchange exchange(Call::ioctl, descriptor);
    const std::int64_t result = exchange.argument(0, request).data(bytes, size).perform();
    memcpy(bytes, exchange.reply.data, std::min<std::size_t>(size, exchange.reply.size));
    return static_cast<int>(result);
}

// The size of a block device: the kernel's widths differ, the wire's does not.
template <typename Size>
int askBlockSize(int descriptor, std::uint32_t request, Size* size) {
    std::uint64_t wide = 0;
    const int result = askByAddress(descriptor, request, &wide, sizeof wide);
    if (result == 0) {
        *size = static_cast<Size>(wide);
    }
    return result;
}

// The command record lies behind a pointer in the request: interface name and record travel as one.
int askEthtool(int descriptor, ifreq* request) {
    std::uint32_t command = 0;
    memcpy(&command, request->ifr_data, sizeof command);
    const std::size_t size = command == ETHTOOL_GLINK ? sizeof(ethtool_value) : sizeof(ethtool_cmd);
    std::uint8_t bytes[IFNAMSIZ + sizeof(ethtool_cmd)] = {};
    memcpy(bytes, request->ifr_name, IFNAMSIZ);
    memcpy(bytes + IFNAMSIZ, request->ifr_data, size);
    const int result = askByAddress(descriptor, SIOCETHTOOL, bytes, IFNAMSIZ + size);
    memcpy(request->ifr_data, bytes + IFNAMSIZ, size);
    return result;
}

int ask(int descriptor, unsigned long request, void* argument) {
    if (request == BLKGETSIZE) {
        return askBlockSize(descriptor, vboard::wire::blockSectors, static_cast<unsigned long*>(argument));
    }
    if (request == BLKGETSIZE64) {
        return askBlockSize(descriptor, vboard::wire::blockBytes, static_cast<std::uint64_t*>(argument));
    }
    if (request == SIOCETHTOOL) {
        return askEthtool(descriptor, static_cast<ifreq*>(argument));
    }
    for (const ArgumentSize& entry : argumentSizes) {
        if (entry.request == request) {
            return askByAddress(descriptor, static_cast<std::uint32_t>(request), argument, entry.bytes);
        }
    }
    return askByValue(descriptor, request, argument);
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return vboard::preload::isHostDescriptor(descriptor)
               ? static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument))
               : ask(descriptor, request, argument);
}
