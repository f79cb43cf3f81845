#include "vboard/devices/spi_flash.h"

#include <algorithm>
#include <utility>

#include "r8/contract/port_multiplier.h"

namespace vboard {

namespace {

constexpr std::uint8_t erasedByte = 0xFF;
constexpr std::uint32_t busyRead = 0xFFFFFFFF;  // nobody drives the data line

}  // namespace

std::vector<std::uint8_t> SpiFlash::content(std::size_t bytes) const {
    std::vector<std::uint8_t> result;
    for (std::uint32_t address = 0; address < bytes; ++address) {
        result.push_back(byteAt(address));
    }
    return result;
}

void SpiFlash::load(const std::vector<std::uint8_t>& bytes) {
    array.assign(size, erasedByte);
    std::copy_n(bytes.begin(), std::min<std::size_t>(bytes.size(), size), array.begin());
}

void SpiFlash::configure(Section& section) {
    section.number("protection", protection);
    section.number("busyAtPowerUp", busyAtPowerUp);
    section.number("busyAfterStatusWrite", busyAfterStatusWrite);
    section.number("busyAfterProgram", busyAfterProgram);
    section.number("busyAfterErase", busyAfterErase);
    section.number("ignoredWrite", ignoredWrite);
    section.each("stuckBit", [&](Section& entry) {
        StuckBit stuck;
        entry.number("address", stuck.address);
        entry.number("bit", stuck.bit);
        entry.flag("value", stuck.value);
        if (stuck.bit > 7) {
            entry.fail("bit", "is a number from 0 to 7");
        }
        stuckBits.push_back(stuck);
    });
}

void SpiFlash::powerUp() {
    if (inProgress_) {
        std::exchange(inProgress_, nullptr)(false);
    }
    writeEnabled_ = false;
    writes_ = 0;
    busyPolls_ = busyAtPowerUp;
}

void SpiFlash::writeEnable() {
    writeEnabled_ = writeEnabled_ || busyPolls_ == 0;
}

std::uint8_t SpiFlash::readStatus() {
    const unsigned busy = busyPolls_ != 0 ? flashBusy : 0U;
    const unsigned latch = writeEnabled_ ? writeEnableLatch : 0U;
    if (busyPolls_ != 0 && --busyPolls_ == 0) {
        finishWrite();
    }
    return static_cast<std::uint8_t>(protection | latch | busy);
}

void SpiFlash::writeStatus(std::uint8_t value) {
    write(busyAfterStatusWrite, [this, value](bool whole) {
        if (whole) {
            protection = value & blockProtection;
        }
    });
}

std::uint32_t SpiFlash::read(std::uint32_t address) const {
    if (busyPolls_ != 0) {
        return busyRead;
    }
    std::uint32_t word = 0;
    for (std::uint32_t k = 0; k < flashWordBytes; ++k) {
        word |= static_cast<std::uint32_t>(byteAt((address + k) % size)) << 8 * k;
    }
    return word;
}

void SpiFlash::program(std::uint32_t address, std::uint32_t word) {
    write(busyAfterProgram, [this, address, word](bool whole) {
        const std::uint32_t page = address % size / pageBytes * pageBytes;
        for (std::uint32_t k = 0; k < (whole ? flashWordBytes : flashWordBytes / 2) && protection == 0; ++k) {
            array[page + (address + k) % pageBytes] &= static_cast<std::uint8_t>(word >> 8 * k);
        }
    });
}

void SpiFlash::eraseChip() {
    write(busyAfterErase, [this](bool whole) {
        if (protection == 0) {
            std::fill_n(array.begin(), whole ? size : size / 2, erasedByte);
        }
    });
}

std::uint8_t SpiFlash::byteAt(std::uint32_t address) const {
    unsigned byte = array[address];
    for (const StuckBit& stuck : stuckBits) {
        if (stuck.address == address) {
            const unsigned mask = 1U << stuck.bit;
            byte = stuck.value ? byte | mask : byte & ~mask;
        }
    }
    return static_cast<std::uint8_t>(byte);
}

void SpiFlash::write(unsigned busyPolls, const Effect& effect) {
    if (busyPolls_ != 0 || !writeEnabled_) {
        return;
    }
    inProgress_ = ++writes_ == ignoredWrite ? [](bool) {} : effect;
    busyPolls_ = busyPolls;
    if (busyPolls_ == 0) {
        finishWrite();
    }
}

void SpiFlash::finishWrite() {
    writeEnabled_ = false;
    if (inProgress_) {  // what keeps a flash busy at power-up is no write
        std::exchange(inProgress_, nullptr)(true);
    }
}

}  // namespace vboard
