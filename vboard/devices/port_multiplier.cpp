#include "vboard/devices/port_multiplier.h"

#include <algorithm>
#include <numeric>

#include "r8/contract/little_endian.h"
#include "r8/contract/port_multiplier.h"
namespace vboard {

namespace {

constexpr std::size_t unusedOffsets[] = {0, 8, 14, 15};

constexpr unsigned olderSeed = 0;  // content of an image before the board's own

bool isAddressed(std::span<const std::uint8_t> record, std::uint8_t target, PmAccessMode mode) {
    return record[pmRecord::target] == (pmRecord::targetBit | target) &&
           record[pmRecord::command] == static_cast<std::uint8_t>(mode);
}

// Replaces the lowest byte: the registers above it come back as they went out.
std::uint32_t withLowByte(std::uint32_t data, std::uint8_t byte) {
    return (data & ~std::uint32_t{0xFF}) | byte;
}

}  // namespace

unsigned PortMultiplier::requestCount() const {
    return std::accumulate(requests.begin(), requests.end(), 0U,
                           [](unsigned sum, const auto& entry) { return sum + entry.second; });
}

void PortMultiplier::setBonding(std::uint8_t bonding) {
    registers[pmRegister::bondingHigh] = bonding / 4;
    registers[pmRegister::bondingLow] = bonding % 4;
}

void PortMultiplier::configure(Section& section, const std::vector<std::uint8_t>* image) {
    section.texts("disks", disks);
    section.number("presence", registers[pmRegister::presence]);
    section.number("revision", registers[pmRegister::revision]);
    std::uint8_t bonding = 0;
    section.number("bonding", bonding);
    setBonding(bonding);
    section.number("requestValue", requestValue);
    configureFlash(section, image, bonding);
}

void PortMultiplier::configureFlash(Section& section, const std::vector<std::uint8_t>* image,
                                    std::uint8_t bonding) {
    enum class Content { blank, same, older } content = Content::blank;
    section.choice("flash", content,
                   {{"blank", Content::blank}, {"image", Content::same}, {"older", Content::older}});
    if (content != Content::blank && image == nullptr) {
        section.fail("flash", "needs an image on the board");
    }
    if (content == Content::same) {
        flash.load(*image);
    } else if (content == Content::older) {
        flash.load(firmwareImage(static_cast<std::uint32_t>(image->size()), registers[pmRegister::revision],
                                 bonding, olderSeed));
    }
    flash.configure(section);
}

void PortMultiplier::powerUp() {
    flash.powerUp();
    requests.clear();
}

void PortMultipliers::configure(Section& section) {
    chips_.emplace_back().configure(section, image_.content ? &*image_.content : nullptr);
}

void PortMultipliers::plugIn(Machine&) {
    for (auto& [name, drive] : drives_.drives) {
        drive.wired = chips_.empty();
        drive.portMultiplier = nullptr;  // of a chip that a former run had
    }
    for (PortMultiplier& chip : chips_) {
        chip.powerUp();
        for (const std::string& letter : chip.disks) {
            Drive& drive = drives_["sd" + letter];
            drive.wired = true;
            drive.portMultiplier = [&chip](const IoctlRequest& request) { return chip.pmprw(request); };
        }
    }
}

Result PortMultiplier::pmprw(const IoctlRequest& request) {
    const std::span<std::uint8_t> record = request.data;
    if (std::any_of(std::begin(unusedOffsets), std::end(unusedOffsets),
                    [record](std::size_t offset) { return record[offset] != 0; })) {
        return Result::refusal(EINVAL);
    }
    const auto control =
        static_cast<std::uint16_t>(record[pmRecord::controlLow] | record[pmRecord::controlHigh] << 8);
    const std::uint32_t address = littleEndian32(record.data() + pmRecord::address);
    std::uint32_t data = littleEndian32(record.data() + pmRecord::data);
    const bool known =
        isAddressed(record, pmControlPort, PmAccessMode::registerRead)
            ? control == pmControl::readRegister && readRegister(address, data)
            : isAddressed(record, 0, PmAccessMode::spiTransfer) && transfer(control, address, data);
    if (!known) {
        return Result::refusal(EINVAL);
    }
    ++requests[control];
    putLittleEndian32(record.data() + pmRecord::data, data);
    return {requestValue};
}

bool PortMultiplier::readRegister(std::uint32_t address, std::uint32_t& data) const {
    const auto found = registers.find(address);
    if (found == registers.end()) {
        return false;
    }
    data = withLowByte(data, found->second);
    return true;
}

bool PortMultiplier::transfer(std::uint16_t control, std::uint32_t address, std::uint32_t& data) {
    switch (control) {
        case pmControl::writeEnable:
            flash.writeEnable();
            return true;
        case pmControl::readStatus:
            data = withLowByte(data, flash.readStatus());
            return true;
        case pmControl::writeStatus:
            flash.writeStatus(static_cast<std::uint8_t>(data));
            return true;
        case pmControl::read:
            data = flash.read(address);
            return true;
        case pmControl::pageProgram:
            flash.program(address, data);
            return true;
        case pmControl::chipErase:
            flash.eraseChip();
            return true;
        default:
            return false;
    }
}

}  // namespace vboard
