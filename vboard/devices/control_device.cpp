#include "vboard/devices/control_device.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace vboard {

namespace {

constexpr std::pair<const char*, CpldField> cpldFields[] = {
    {"pcbNumber", cpld.pcbNumber},
    {"sdramClock", cpld.sdramClock},
    {"memoryType", cpld.memoryType},
    {"chipType", cpld.chipType},
    {"armClock", cpld.armClock},
    {"flashType", cpld.flashType},
    {"flashSize", cpld.flashSize},
    {"cpldDate", cpld.cpldDate},
    {"panelType", cpld.panelType},
    {"deviceType", cpld.deviceType},
    {"talkback", cpld.talkback},
    {"audioInCount", cpld.audioInCount},
    {"audioOutCount", cpld.audioOutCount},
    {"mac0Mode", cpld.mac0Mode},
    {"mac1Mode", cpld.mac1Mode},
    {"mac1Phy", cpld.mac1Phy},
    {"mac0Phy", cpld.mac0Phy},
    {"phy1Id", cpld.phy1Id},
    {"phy0Id", cpld.phy0Id},
    {"sataPmChip", cpld.sataPmChip},
    {"esataPortCount", cpld.esataPortCount},
    {"diskPortCount", cpld.diskPortCount},
    {"usbCount", cpld.usbCount},
    {"alarmOutCount", cpld.alarmOutCount},
    {"alarmInCount", cpld.alarmInCount},
    {"cvbsOutCount", cpld.cvbsOutCount},
    {"vgaOutCount", cpld.vgaOutCount},
    {"hdmiOutCount", cpld.hdmiOutCount},
    {"rs485Duplex", cpld.rs485Duplex},
    {"rs232Count", cpld.rs232Count},
    {"rs485Count", cpld.rs485Count},
};
static_assert(std::size(cpldFields) == cpldFieldCount, "a scenario can set every field of the description");

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
    const unsigned word = littleEndian16(bytes);
    putLittleEndian16(bytes, static_cast<std::uint16_t>((word & ~mask) | (value << field.shift & mask)));
}

void ControlDevice::setBoardTypeCode(std::uint16_t code) {
    putLittleEndian16(bootParams.bytes + bootParamsBoardTypeCodeOffset, code);
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

#define NAMED(code) code, #code
const ControlDevice::KnownRequest ControlDevice::knownRequests[] = {
    {NAMED(ZORIO_GET_CPLD_INFO), [](Self& device, Request& request) { fill(request.data, device.cpld); }},
    {NAMED(ZORIO_GET_BOOT_PARMS),
     [](Self& device, Request& request) { fill(request.data, device.bootParams); }},
    {NAMED(ZORIO_GET_STEP_GATE), [](Self& device, Request& request) { fill(request.data, device.stepGate); }},
    {NAMED(ZORIO_GET_CHIP_TEMP),
     [](Self& device, Request& request) { fill(request.data, device.chipTemperature); }},
    {NAMED(ZORIO_GET_ALARM_IN),
     [](Self& device, Request& request) { fill(request.data, device.alarm_.inputs()); }},
    {NAMED(ZORIO_ALARM_INIT), [](Self& device, Request&) { device.alarm_.initialized = true; }},
    {NAMED(ZORIO_SET_ALARM_OUT),
     [](Self& device, Request& request) { device.alarm_.outputs = request.data[0]; }},
    {NAMED(ZORIO_SET_BUZZER), [](Self& device, Request& request) { device.buzzerOn = request.data[0] != 0; }},
    {NAMED(ZORIO_SET_WDT_TIMEOUT),
     [](Self& device, Request& request) { device.watchdogTimeout = request.value; }},
    {NAMED(ZORIO_SET_MODE), [](Self&, Request&) {}},
    {NAMED(ZORIO_RESET_PM),
     [](Self& device, Request& request) { device.resetGroups.push_back(request.value); }},
    {NAMED(ZORIO_GPIO_SET_OUTPUT),
     [](Self& device, Request& request) { setBit(device.gpioOutputs, request.value, true); }},
    {NAMED(ZORIO_GPIO_WRITE),
     [](Self& device, Request& request) {
         setBit(device.gpioLevels, request.value & 0xFF, (request.value & 0x100) != 0);
     }},
    {NAMED(ZORIO_RS485_TX_ENABLE),
     [](Self& device, Request& request) { device.rs485_.transmitterOn = request.value == 1; }},
    {NAMED(ZORIO_RS485_RX_ENABLE),
     [](Self& device, Request& request) { device.rs485_.receiverOn = request.value == 1; }},
};
#undef NAMED

const ControlDevice::KnownRequest* ControlDevice::knownRequest(std::uint32_t code) {
    const auto known = std::find_if(std::begin(knownRequests), std::end(knownRequests),
                                    [code](const KnownRequest& request) { return request.code == code; });
    return known == std::end(knownRequests) ? nullptr : known;
}

std::string ControlDevice::requestName(std::uint32_t code) const {
    const KnownRequest* known = knownRequest(code);
    return known == nullptr ? "" : known->name;
}

Result ControlDevice::ioctl(const IoctlRequest& request) {
    const KnownRequest* known = knownRequest(request.code);
    if (known == nullptr) {
        return Result::refusal(ENOTTY);
    }
    known->perform(*this, request);
    return {};
}

}  // namespace vboard
