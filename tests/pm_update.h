#pragma once

// Updates of port-multiplier firmware, as the tests of chip, flash, image and update run need them.

#include <cstring>

#include "r8/pmfw/pm_access.h"
#include "r8/pmfw/pm_firmware.h"
#include "tests/tool_runs.h"

namespace pm {

using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<std::string>;

constexpr std::uint8_t revision = 0x06;
constexpr std::uint8_t bonding = 0x0D;
constexpr std::uint32_t smallImage = 40;  // bytes
constexpr std::uint32_t largestImage = 131068;

inline const std::string startLines = "sata_port_num = 5 \nopen /dev/sda success!\n";
inline const std::string chipLines =
    "INFO: JMB39X device exist\nINFO: JMB39X CHIP ID = 32h, Revision ID = 06h\n";
inline const std::string idLine = "INFO: Binfile ID = 32h 197Bh\n";
inline const std::string suitsLines = idLine + "INFO: Revision ID = 06h\nINFO: Bonding = 0Dh\n";
inline const std::string chk0Line = "WRN : chkflashsts, chk1 fail, try chk0 (FFFFFFFF)\n";
inline const std::string resetLine = "update the firmware success, now reset the jmb321!\r\n";
inline const std::string secondLine = "\n第2次测试\n";

// "PFN": chip 1 passed, chip 2 failed, chip 3 was not tested.
inline std::string verdictLines(const std::string& verdicts) {
    std::string lines = "测试结果如下\n";
    for (std::size_t i = 0; i < verdicts.size(); ++i) {
        const char* text = verdicts[i] == 'P' ? "正常" : verdicts[i] == 'F' ? "发生错误" : "未进行测试";
        lines += "Chip" + std::to_string(i + 1) + " " + text + "\n";
    }
    return lines;
}

inline const std::string passed = verdictLines("P");
inline const std::string failed = verdictLines("F");

inline std::string hex8(std::uint32_t value) {
    char text[16];
    (void)std::snprintf(text, sizeof text, "(%08Xh)", value);
    return text;
}

enum class Held { equal, blank, older };  // by the flash, against the image

class PmFirmware : public testing::Test {
  protected:
    vboard::VirtualBoard board = vboard::VirtualBoard::healthy();
    vboard::PortMultiplier* chip = addChip('a');

    vboard::PortMultiplier* addChip(char letter) {
        vboard::PortMultiplier& added = board.chips.emplace_back();
        added.disks = {std::string(1, letter)};
        added.setRevision(revision);
        added.setBonding(bonding);
        return &added;
    }

    // A new image and what the flash holds; an older one differs in one byte, in the word 44332211h.
    void prepare(Held held, std::uint32_t size = smallImage, std::uint32_t difference = 32) {
        Bytes image = vboard::firmwareImage(size, revision, bonding);
        std::memcpy(&image.at(difference), "\x11\x22\x33\x44", 4);
        board.firmware.content = image;
        image[difference] ^= held == Held::older ? 1 : 0;
        chip->flash.load(held == Held::blank ? Bytes() : image);
        chip->flash.protection = held == Held::blank ? vboard::SpiFlash::blockProtection : 0;
    }

    bool flashIsImage() const {
        return chip->flash.content(board.firmware.content->size()) == board.firmware.content;
    }

    // The update run by itself; the layouts for 5 and 9 ports can't be had from the CPLD.
    vboard::Run update(unsigned ports = 5, unsigned repetitions = 1) {
        const auto run = runModule(board, {"diskPortCount=" + std::to_string(ports), "portMultiplierRun",
                                           std::to_string(repetitions)});
        EXPECT_FALSE(run.anyRefused()) << vboard::toText(run.trace);
        if (!board.settings.powerCutAfter) {
            EXPECT_EQ(run.exitStatus(), 0) << run.stopReason;
            EXPECT_THAT(run.openAtEnd, testing::IsEmpty());
        }
        return run;
    }

    // Updates that lose power after these numbers of requests, then one that gets to its end.
    void updateAfterPowerCuts(const std::vector<unsigned>& cuts) {
        for (const unsigned cut : cuts) {
            SCOPED_TRACE("power cut after request " + std::to_string(cut));
            board.settings.powerCutAfter = cut;
            const auto lost = update();
            ASSERT_EQ(lost.signal(), SIGKILL);
            EXPECT_TRUE(flashIsImage() || resets(lost).empty());
        }
        SCOPED_TRACE("after a power cut at request " + std::to_string(cuts.back()));
        board.settings.powerCutAfter.reset();
        const bool written = flashIsImage();  // such a chip starts from the new image when power is back
        const auto next = update();
        EXPECT_TRUE(flashIsImage());
        EXPECT_THAT(next.console(), testing::EndsWith(passed));
        EXPECT_EQ(resets(next), written ? Lines{} : Lines{"0x100"});
    }

    static Lines resets(const vboard::Run& run) {
        Lines groups;
        for (const vboard::TraceEntry& entry : run.requests("ZORIO_RESET_PM")) {
            groups.push_back(entry.arguments);
        }
        return groups;
    }
};

}  // namespace pm
