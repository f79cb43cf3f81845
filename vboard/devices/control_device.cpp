#include "vboard/devices/control_device.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <stdexcept>

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
void fill(const IoctlRequest& request, const Record& record) {
    if (request.data.size() != sizeof record) {
        throw std::logic_error("a request's shape and the device's record differ in size");
    }
    std::memcpy(request.data.data(), &record, sizeof record);
}

void setBit(std::uint64_t& word, std::uint64_t bit, bool on) {
    const std::uint64_t mask = std::uint64_t{1} << (bit & 63);
    word = on ? word | mask : word & ~mask;
}

void readAnswers(Section& section, std::map<unsigned, std::vector<std::uint8_t>>& answers) {
    for (const ControlRequest& request : controlRequests) {
        if (request.argument != ArgumentKind::fromDriver || !section.has(request.name)) {
            continue;
        }
        std::vector<std::uint8_t>& answer = answers[request.code];
        section.bytes(request.name, answer);
        if (answer.size() != request.bytes) {
            section.fail(request.name, "has " + std::to_string(request.bytes) + " bytes");
        }
    }
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
    section.each("answers", [&](Section& part) { readAnswers(part, answers); });
}

void BoardDescription::configure(Section& section) {
    for (const auto& [name, field] : cpldFields) {
        if (!section.has(name)) {
            continue;
        }
        std::uint16_t value = 0;
        section.number(name, value);
        if (value > field.mask) {
            section.fail(name, "is at most " + std::to_string(field.mask));
        }
        control_.setCpld(field, value);
    }
}

void ControlDevice::plugIn(Machine& machine) {
    buzzerOn = false;
    watchdogTimeout = 0;
    gpioOutputs = 0;
    gpioLevels = 0;
    resetGroups.clear();
    rs485_ = {};
    if (present) {
        machine.root.add("/dev/zorio", *this);
    }
}

// What each request does, a row for every one of controlRequests.
struct ControlDevice::Procedures {
    using Device = ControlDevice;
    using Request = const IoctlRequest;

    struct Row {
        unsigned code;
        void (*perform)(Device& device, Request& request);
    };
    static constexpr Row rows[] = {
        {ZORIO_GET_CPLD_INFO, [](Device& device, Request& request) { fill(request, device.cpld); }},
        {ZORIO_GET_BOOT_PARMS, [](Device& device, Request& request) { fill(request, device.bootParams); }},
        {ZORIO_GET_STEP_GATE, [](Device& device, Request& request) { fill(request, device.stepGate); }},
        {ZORIO_GET_CHIP_TEMP,
         [](Device& device, Request& request) { fill(request, device.chipTemperature); }},
        {ZORIO_GET_ALARM_IN, [](Device& device, Request& request) { fill(request, device.alarm_.inputs()); }},
        {ZORIO_ALARM_INIT, [](Device& device, Request&) { device.alarm_.initialized = true; }},
        {ZORIO_SET_ALARM_OUT,
         [](Device& device, Request& request) { device.alarm_.outputs = request.data[0]; }},
        {ZORIO_SET_BUZZER, [](Device& device, Request& request) { device.buzzerOn = request.data[0] != 0; }},
        {ZORIO_SET_WDT_TIMEOUT,
         [](Device& device, Request& request) { device.watchdogTimeout = request.value; }},
        {ZORIO_SET_MODE, [](Device&, Request&) {}},
        {ZORIO_RESET_PM,
         [](Device& device, Request& request) { device.resetGroups.push_back(request.value); }},
        {ZORIO_GPIO_SET_OUTPUT,
         [](Device& device, Request& request) { setBit(device.gpioOutputs, request.value, true); }},
        {ZORIO_GPIO_WRITE,
         [](Device& device, Request& request) {
             setBit(device.gpioLevels, request.value & 0xFF, (request.value & 0x100) != 0);
         }},
        {ZORIO_RS485_TX_ENABLE,
         [](Device& device, Request& request) { device.rs485_.transmitterOn = request.value == 1; }},
        {ZORIO_RS485_RX_ENABLE,
         [](Device& device, Request& request) { device.rs485_.receiverOn = request.value == 1; }},
    };

    // Null for any other.
    static constexpr const Row* find(unsigned code) {
        for (const Row& row : rows) {
            if (row.code == code) {
                return &row;
            }
        }
        return nullptr;
    }

    template <typename Table>
    static constexpr bool holds(const Table& table, unsigned code) {
        for (const auto& row : table) {
            if (row.code == code) {
                return true;
            }
        }
        return false;
    }

    // Whether each row of the one has its twin in the other.
    template <typename Table, typename Other>
    static constexpr bool isPartOf(const Table& table, const Other& other) {
        for (const auto& row : table) {
            if (!holds(other, row.code)) {
                return false;
            }
        }
        return true;
    }
};

Result ControlDevice::ioctl(const IoctlRequest& request) {
    static_assert(Procedures::isPartOf(controlRequests, Procedures::rows),
                  "a request of the contract needs its procedure here");
    static_assert(Procedures::isPartOf(Procedures::rows, controlRequests),
                  "a procedure needs its row in controlRequests");
    const Procedures::Row* row = Procedures::find(request.code);
    if (row == nullptr) {
        return Result::refusal(ENOTTY);
    }
    if (const auto answer = answers.find(request.code); answer != answers.end()) {
        std::copy(answer->second.begin(), answer->second.end(), request.data.begin());
    } else {
        row->perform(*this, request);
    }
    return {};
}

}  // namespace vboard
