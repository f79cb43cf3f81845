#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "vboard/scenario/section.h"

namespace vboard {

// A bit of the array that always reads the same.
struct StuckBit {
    std::uint32_t address = 0;  // byte address
    unsigned bit = 0;           // 0..7
    bool value = false;
};

// An SPI NOR flash, four bytes at a time as its port multiplier moves them. Each write (status, program,
// erase) needs a write enable of its own and keeps the flash busy for a number of status reads, during which
// it hears nothing else. Programming only clears bits, erasing sets them all, and neither happens while
// blocks are protected. Loss of power in the middle of a write leaves a part of it done.
class SpiFlash {
  public:
    static constexpr std::uint32_t size = 128 * 1024;  // bytes; addresses wrap
    static constexpr std::uint32_t pageBytes = 256;  // an address that a program runs over wraps in its page
    static constexpr std::uint8_t writeEnableLatch = 0x02;  // bits of the status register beside flashBusy
    static constexpr std::uint8_t blockProtection = 0x1C;

    // To set before a run. Busy times are numbers of status reads that report busy; 0: ready at once.
    std::vector<std::uint8_t> array = std::vector<std::uint8_t>(size, 0xFF);
    std::uint8_t protection = 0;  // the status register's block protection
    unsigned busyAtPowerUp = 0;
    unsigned busyAfterStatusWrite = 0;
    unsigned busyAfterProgram = 0;
    unsigned busyAfterErase = 0;
    unsigned ignoredWrite = 0;  // the write since power-up, counted from 1, that has no effect; 0: none
    std::vector<StuckBit> stuckBits;

    SpiFlash() = default;
    SpiFlash(const SpiFlash&) = delete;
    SpiFlash& operator=(const SpiFlash&) = delete;

    // What the array reads as, from address 0 on; and puts bytes there, the rest of the array erased.
    std::vector<std::uint8_t> content(std::size_t bytes) const;
    void load(const std::vector<std::uint8_t>& bytes);

    void configure(Section& section);  // keys of its port multiplier's table
    void powerUp();

    // The commands.
    void writeEnable();
    std::uint8_t readStatus();
    void writeStatus(std::uint8_t value);
    std::uint32_t read(std::uint32_t address) const;  // the byte at the lowest address in bits 7..0
    void program(std::uint32_t address, std::uint32_t word);
    void eraseChip();

  private:
    using Effect = std::function<void(bool whole)>;  // not whole: power was lost half-way

    std::uint8_t byteAt(std::uint32_t address) const;
    void write(unsigned busyPolls, const Effect& effect);
    void finishWrite();

    bool writeEnabled_ = false;
    unsigned busyPolls_ = 0;  // status reads until the write in progress is done
    unsigned writes_ = 0;
    Effect inProgress_;
};

}  // namespace vboard
