#include "vboard/devices/control_device.h"

#include <algorithm>
#include <cstring>
#include <map>

namespace vboard {

namespace {

struct KnownRequest {
    std::uint32_t code;
    const char* name;
};

#define KNOWN(request) \
    { request, #request }
constexpr KnownRequest knownRequests[] = {
    KNOWN(ZORIO_GPIO_WRITE),      KNOWN(ZORIO_GPIO_SET_OUTPUT), KNOWN(ZORIO_SET_WDT_TIMEOUT),
    KNOWN(ZORIO_SET_MODE),        KNOWN(ZORIO_RESET_PM),        KNOWN(ZORIO_GET_CHIP_TEMP),
    KNOWN(ZORIO_SET_BUZZER),      KNOWN(ZORIO_GET_ALARM_IN),    KNOWN(ZORIO_SET_ALARM_OUT),
    KNOWN(ZORIO_GET_BOOT_PARMS),  KNOWN(ZORIO_GET_CPLD_INFO),   KNOWN(ZORIO_ALARM_INIT),
    KNOWN(ZORIO_RS485_TX_ENABLE), KNOWN(ZORIO_RS485_RX_ENABLE), KNOWN(ZORIO_GET_STEP_GATE),
};
#undef KNOWN

constexpr std::pair<const char*, CpldField> cpldFields[] = {
    {"pcbNumber", cpld::pcbNumber},
    {"sdramClock", cpld::sdramClock},
    {"memoryType", cpld::memoryType},
    {"chipType", cpld::chipType},
    {"armClock", cpld::armClock},
    {"flashType", cpld::flashType},
    {"flashSize", cpld::flashSize},
    {"cpldDate", cpld::cpldDate},
    {"panelType", cpld::panelType},
    {"deviceType", cpld::deviceType},
    {"talkback", cpld::talkback},
    {"audioInCount", cpld::audioInCount},
    {"audioOutCount", cpld::audioOutCount},
    {"mac0Mode", cpld::mac0Mode},
    {"mac1Mode", cpld::mac1Mode},
    {"mac1Phy", cpld::mac1Phy},
    {"mac0Phy", cpld::mac0Phy},
    {"phy1Id", cpld::phy1Id},
    {"phy0Id", cpld::phy0Id},
    {"sataPmChip", cpld::sataPmChip},
    {"esataPortCount", cpld::esataPortCount},
    {"diskPortCount", cpld::diskPortCount},
    {"usbCount", cpld::usbCount},
    {"alarmOutCount", cpld::alarmOutCount},
    {"alarmInCount", cpld::alarmInCount},
    {"cvbsOutCount", cpld::cvbsOutCount},
    {"vgaOutCount", cpld::vgaOutCount},
    {"hdmiOutCount", cpld::hdmiOutCount},
    {"rs485Duplex", cpld::rs485Duplex},
    {"rs232Count", cpld::rs232Count},
    {"rs485Count", cpld::rs485Count},
};

template <typename Record>
void fill(std::span<std::uint8_t> data, const Record& record) {
    std::memcpy(data.data(), &record, std::min(data.size(), sizeof record));
}

void setBit(std::uint64_t& word, std::uint64_t bit, bool on) {
    const std::uint64_t mask = std::uint64_t{1} << (bit & 63);
    word = on ? word | mask : word & ~mask;
}

}  // namespace

void ControlDevice::setCpld(CpldField field, unsigned value) {
    std::uint8_t* bytes = cpld.bytes + field.offset;
    const unsigned mask = static_cast<unsigned>(field.mask) << field.shift;
    const unsigned word = static_cast<unsigned>(bytes[0] | bytes[1] << 8);
    const unsigned changed = (word & ~mask) | (value << field.shift & mask);
    bytes[0] = static_cast<std::uint8_t>(changed);
    bytes[1] = static_cast<std::uint8_t>(changed >> 8);
}

void ControlDevice::setBoardTypeCode(std::uint16_t code) {
    bootParams.bytes[bootParamsBoardTypeCodeOffset] = static_cast<std::uint8_t>(code);
    bootParams.bytes[bootParamsBoardTypeCodeOffset + 1] = static_cast<std::uint8_t>(code >> 8);
}

void ControlDevice::setMacAddress(int card, const std::array<std::uint8_t, macAddressBytes>& address) {
    std::copy(address.begin(), address.end(),
              bootParams.bytes + bootParamsMacOffset + static_cast<std::size_t>(card) * macAddressBytes);
}

void ControlDevice::configure(Section& section) {
    section.flag("present", present);
    section.number("stepGate", stepGate);
    section.number("chipTemperature", chipTemperature);
    if (section.has("boardTypeCode")) {
        std::uint16_t code = 0;
        section.number("boardTypeCode", code);
        setBoardTypeCode(code);
    }
    for (const int card : {0, 1}) {
        const std::string key = "macAddress" + std::to_string(card + 1);
        std::vector<std::uint8_t> address;
        section.bytes(key, address);
        if (section.has(key)) {
            if (address.size() != macAddressBytes) {
                section.fail(key, "has six bytes");
            }
            std::array<std::uint8_t, macAddressBytes> six;
            std::copy(address.begin(), address.end(), six.begin());
            setMacAddress(card, six);
        }
    }
}

void ControlDevice::configureCpld(Section& section) {
    for (const auto& [name, field] : cpldFields) {
        if (!section.has(name)) {
            continue;
        }
        std::uint16_t value = 0;
        section.number(name, value);
        if (value > field.mask) {
            section.fail(name, "is at most " + std::to_string(field.mask));
        }
        setCpld(field, value);
    }
}

void ControlDevice::plugIn(Machine& machine) {
    buzzerOn = false;
    watchdogTimeout = 0;
    gpioOutputs = 0;
    gpioLevels = 0;
    resetGroups.clear();
    alarm_.initialized = false;
    alarm_.outputs = 0;
    rs485_ = {};
    if (present) {
        machine.root.add("/dev/zorio", *this);
    }
}

std::string ControlDevice::requestName(std::uint32_t code) const {
    const auto known = std::find_if(std::begin(knownRequests), std::end(knownRequests),
                                    [code](const KnownRequest& request) { return request.code == code; });
    return known == std::end(knownRequests) ? "" : known->name;
}

Result ControlDevice::ioctl(const IoctlRequest& request) {
    switch (request.code) {
        case ZORIO_GET_CPLD_INFO:
            fill(request.data, cpld);
            break;
        case ZORIO_GET_BOOT_PARMS:
            fill(request.data, bootParams);
            break;
        case ZORIO_GET_STEP_GATE:
            fill(request.data, stepGate);
            break;
        case ZORIO_GET_CHIP_TEMP:
            fill(request.data, chipTemperature);
            break;
        case ZORIO_GET_ALARM_IN:
            fill(request.data, alarm_.inputs());
            break;
        case ZORIO_ALARM_INIT:
            alarm_.initialized = true;
            break;
        case ZORIO_SET_ALARM_OUT:
            alarm_.outputs = request.data[0];
            break;
        case ZORIO_SET_BUZZER:
            buzzerOn = request.data[0] != 0;
            break;
        case ZORIO_SET_WDT_TIMEOUT:
            watchdogTimeout = request.value;
            break;
        case ZORIO_SET_MODE:
            break;
        case ZORIO_RESET_PM:
            resetGroups.push_back(request.value);
            break;
        case ZORIO_GPIO_SET_OUTPUT:
            setBit(gpioOutputs, request.value, true);
            break;
        case ZORIO_GPIO_WRITE:
            setBit(gpioLevels, request.value & 0xFF, (request.value & 0x100) != 0);
            break;
        case ZORIO_RS485_TX_ENABLE:
            rs485_.transmitterOn = request.value == 1;
            break;
        case ZORIO_RS485_RX_ENABLE:
            rs485_.receiverOn = request.value == 1;
            break;
        default:
            return Result::refusal(ENOTTY);
    }
    return {};
}

}  // namespace vboard
