// Test 10: port-multiplier firmware on chips whose flash behaves, fails, lies or loses power.

#include <cstring>
#include <random>
#include <sstream>

#include "r8/pmfw/pm_access.h"
#include "r8/pmfw/pm_firmware.h"
#include "tests/tool_runs.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using namespace vboard;

namespace {

using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<std::string>;

constexpr std::uint8_t revision = 0x06;
constexpr std::uint8_t bonding = 0x0D;
constexpr std::uint32_t smallImage = 40;  // bytes
constexpr std::uint32_t largestImage = 131068;

const std::string startLines = "sata_port_num = 5 \nopen /dev/sda success!\n";
const std::string chipLines = "INFO: JMB39X device exist\nINFO: JMB39X CHIP ID = 32h, Revision ID = 06h\n";
const std::string idLine = "INFO: Binfile ID = 32h 197Bh\n";
const std::string suitsLines = idLine + "INFO: Revision ID = 06h\nINFO: Bonding = 0Dh\n";
const std::string chk0Line = "WRN : chkflashsts, chk1 fail, try chk0 (FFFFFFFF)\n";
const std::string resetLine = "update the firmware success, now reset the jmb321!\r\n";
const std::string secondLine = "\n第2次测试\n";

// "PFN": chip 1 passed, chip 2 failed, chip 3 was not tested.
std::string verdictLines(const std::string& verdicts) {
    std::string lines = "测试结果如下\n";
    for (std::size_t i = 0; i < verdicts.size(); ++i) {
        const char* text = verdicts[i] == 'P' ? "正常" : verdicts[i] == 'F' ? "发生错误" : "未进行测试";
        lines += "Chip" + std::to_string(i + 1) + " " + text + "\n";
    }
    return lines;
}

const std::string passed = verdictLines("P");
const std::string failed = verdictLines("F");

std::string hex8(std::uint32_t value) {
    char text[16];
    (void)std::snprintf(text, sizeof text, "(%08Xh)", value);
    return text;
}

enum class Held { equal, blank, older };  // by the flash, against the image

class PmFirmware : public testing::Test {
  protected:
    VirtualBoard board = VirtualBoard::healthy();
    PortMultiplier* chip = addChip('a');

    PortMultiplier* addChip(char letter) {
        PortMultiplier& added = board.chips.emplace_back();
        added.disks = {std::string(1, letter)};
        added.setRevision(revision);
        added.setBonding(bonding);
        return &added;
    }

    // A new image and what the flash holds; an older one differs in one byte, in the word 44332211h.
    void prepare(Held held, std::uint32_t size = smallImage, std::uint32_t difference = 32) {
        Bytes image = firmwareImage(size, revision, bonding);
        std::memcpy(&image.at(difference), "\x11\x22\x33\x44", 4);
        board.firmware.content = image;
        image[difference] ^= held == Held::older ? 1 : 0;
        chip->flash.load(held == Held::blank ? Bytes() : image);
        chip->flash.protection = held == Held::blank ? SpiFlash::blockProtection : 0;
    }

    bool flashIsImage() const {
        return chip->flash.content(board.firmware.content->size()) == board.firmware.content;
    }

    // The update run by itself; the layouts for 5 and 9 ports can't be had from the CPLD.
    vboard::Run update(unsigned ports = 5, unsigned repetitions = 1) {
        const auto run = runModule(board, {"diskPortCount=" + std::to_string(ports), "portMultiplierRun",
                                           std::to_string(repetitions)});
        EXPECT_FALSE(run.anyRefused()) << toText(run.trace);
        if (!board.settings.powerCutAfter) {
            EXPECT_EQ(run.exitStatus(), 0) << run.stopReason;
            EXPECT_THAT(run.openAtEnd, IsEmpty());
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
        EXPECT_THAT(next.console(), EndsWith(passed));
        EXPECT_EQ(resets(next), written ? Lines{} : Lines{"0x100"});
    }

    static Lines resets(const vboard::Run& run) {
        Lines groups;
        for (const TraceEntry& entry : run.requests("ZORIO_RESET_PM")) {
            groups.push_back(entry.arguments);
        }
        return groups;
    }
};

// What each request of an update says when it fails with EIO, lowest level first, up to the update's line.
class Cascades {
  public:
    std::vector<std::string> all;

    Cascades(Held held, std::uint32_t size, std::uint32_t difference) {
        for (const char* place : {"fail1", "fail2"}) {
            add("", line("chk39xdev, read JMB39X ", place) + line("main, check 39x device fail"));
        }
        for (const char* place : {"fail1", "fail2"}) {
            add("", line("chkbinfile, read JMB39X ", place) + line("main, check binary file fail"));
        }
        add("spiREAD", line("chkflashsts, spiREAD fail (00000000h)") + line("main, check flash status fail"));
        if (held == Held::blank) {
            addProbe(line("main, check flash status fail"));
        } else {
            addVerify(held == Held::equal ? size : difference + flashWordBytes);
        }
        if (held != Held::equal) {
            addUpload(size);
        }
    }

  private:
    static std::string line(const std::string& what, const std::string& more = "") {
        return "ERR : " + what + more + "\n";
    }

    void add(const std::string& primitive, const std::string& above) {
        const std::string polled = primitive == "spiRDSR" ? line("waitflashrdy, spiRDSR fail") : "";
        const std::string own = primitive.empty() ? "" : line(primitive, ", spi JMB39X fail (5)");
        all.push_back(line("pmprw, ioctl fail (5)") + own + polled + above);
    }

    void addGuarded(const std::string& operation, const std::string& command, const std::string& above) {
        add("spiRDSR", line(operation, ", waitflashrdy(10000) fail1") + above);
        add("spiWREN", line(operation, ", spiWREN fail") + above);
        add(command, line(operation, ", " + command + " fail") + above);
        add("spiRDSR", line(operation, ", waitflashrdy(10000) fail2") + above);
    }

    void addProgram(std::uint32_t address, const std::string& above) {
        add("spiWREN", line("writeflash, spiWREN fail ", hex8(address)) + above);
        add("spiPP", line("writeflash, spiPP fail ", hex8(address)) + above);
        add("spiRDSR", line("writeflash, waitflashrdy(1000) fail2 ", hex8(address)) + above);
    }

    void addProbe(const std::string& above) {
        addGuarded("disableflashWP", "spiWRSR", line("chkflashsts, disableflashWP fail") + above);
        addGuarded("eraseflash", "spiCE", line("chkflashsts, eraseflash fail") + above);
        for (const std::uint32_t address : {0U, 4U, 8U, 12U}) {
            addProgram(address, line("chkflashsts, writeflash fail") + above);
        }
        for (const std::uint32_t address : {0U, 4U, 8U, 12U}) {
            add("spiREAD", line("readflash, spiREAD fail ", hex8(address)) +
                               line("chkflashsts, readflash fail") + above);
        }
    }

    void addVerify(std::uint32_t size) {
        for (std::uint32_t address = 0; address < size; address += flashWordBytes) {
            add("spiREAD", line("readflash, spiREAD fail ", hex8(address)) +
                               line("verifycode, readflash fail ", hex8(address)) +
                               "INFO: Total verify size = " + std::to_string(address) +
                               "\nWRN : verifycode, verify not complete\n" + line("main, verifycode fail"));
        }
    }

    void addUpload(std::uint32_t size) {
        const std::string above = line("main, uploadcode fail");
        addGuarded("disableflashWP", "spiWRSR", line("uploadcode, disableflashWP fail") + above);
        addGuarded("eraseflash", "spiCE", line("uploadcode, eraseflash fail") + above);
        for (std::uint32_t address = 0; address < size; address += flashWordBytes) {
            addProgram(address, line("uploadcode, writeflash fail ", hex8(address)) +
                                    "INFO: Total upload size = " + std::to_string(address) + "\n" +
                                    line("uploadcode, upload not complete") + above);
        }
    }
};

TEST_F(PmFirmware, SaysWhatItDoesAndKeepsItsRequestBudgetExactly) {
    const std::pair<std::uint32_t, std::uint32_t> images[] = {// size, where an older one differs
                                                              {32, 28},
                                                              {smallImage, 32},
                                                              {1028, 1024},
                                                              {largestImage, 32}};
    for (const auto& [size, difference] : images) {
        const std::string bytes = std::to_string(size);
        const std::string dots = std::string((size + 511) / 512, '.') + "\n";
        const std::string known = chipLines + suitsLines + "INFO: Binfile length = " + bytes + " bytes\n";
        const std::string found = known + "INFO: Flash is found by chk1\nINFO: Verify flash #1\n";
        const std::string upload = "INFO: Upload flash #1\n" + dots + "INFO: Total upload size = " + bytes +
                                   "\nINFO: Upload complete\nINFO: Finish\n" + resetLine;
        const struct {
            Held held;
            std::string said;
            unsigned requests;
        } cases[] = {
            {Held::equal,
             found + dots + "INFO: Total verify size = " + bytes +
                 "\nINFO: Verify complete\nINFO: Flash #1 is the same as binary file\nINFO: Finish\n",
             5 + size / 4},
            {Held::blank, known + chk0Line + "INFO: Flash is found by chk0\n" + upload, 37 + 3 * size / 4},
            {Held::older,
             found + std::string(difference / 512, '.') + "WRN : verifycode, verify fail " +
                 hex8(difference) + " (JMB39X = 44332210h, binfile = 44332211h)\n" +
                 "INFO: Total verify size = " + std::to_string(difference) +
                 "\nWRN : verifycode, verify not complete\n" + upload,
             13 + (difference / 4 + 1) + 3 * size / 4},
        };
        for (const auto& [held, said, requests] : cases) {
            SCOPED_TRACE(bytes + " bytes, held " + std::to_string(static_cast<int>(held)));
            prepare(held, size, difference);
            const auto run = update();
            EXPECT_EQ(run.console(), startLines + said + passed);
            EXPECT_EQ(chip->requestCount(), requests);
            EXPECT_EQ(run.requests("pmprw").size(), requests);
            EXPECT_TRUE(flashIsImage());
            EXPECT_EQ(chip->flash.array[size], 0xFF) << "written past the image";
            EXPECT_EQ(resets(run), held == Held::equal ? Lines{} : Lines{"0x100"});
        }
    }
}

TEST_F(PmFirmware, SendsTheRecordsThatChipAndFlashExpect) {
    prepare(Held::blank);
    const std::vector<TraceEntry> requests = update().requests("pmprw", "/dev/sda");
    const std::pair<unsigned, const char*> expected[] = {
        // As they come back: a byte that was read is in the lowest byte of the data, the others stay.
        {1, "00 84 8F 00 00 00 8F E4 00 00 00 FC 00 00 00 00"},   // presence
        {2, "00 84 06 00 00 00 8F E4 00 00 03 FC 00 00 00 00"},   // revision
        {3, "00 84 03 00 00 00 8F E4 00 00 FD FA 00 00 00 00"},   // bonding, high
        {4, "00 84 01 00 00 00 8F E4 00 00 FC FA 00 00 00 00"},   // bonding, low
        {5, "00 03 FF FF FF FF 80 F7 00 E9 00 00 00 00 00 00"},   // read
        {6, "00 05 1C FF FF FF 80 F7 00 08 00 00 00 00 00 00"},   // read status: protected
        {7, "00 06 1C FF FF FF 80 F7 00 00 00 00 00 00 00 00"},   // write enable
        {8, "00 01 00 00 00 00 80 F7 00 04 00 00 00 00 00 00"},   // write status
        {12, "00 C7 00 00 00 00 80 F7 00 00 00 00 00 00 00 00"},  // chip erase
        {18, "00 02 FC FD FE FF 80 F7 00 E5 04 00 00 00 00 00"},  // program the second word
        {20, "00 06 00 FD FE FF 80 F7 00 00 04 00 00 00 00 00"},  // write enable with what it left behind
    };
    for (const auto& [number, record] : expected) {
        const Bytes& data = requests.at(number - 1).data;
        EXPECT_EQ(hexText(data.data(), data.size()), record) << "request " << number;
    }
}

TEST_F(PmFirmware, EachRequestThatFailsIsNamedAtEveryLevelAndTheNextUpdateRecovers) {
    for (const Held held : {Held::equal, Held::blank, Held::older}) {
        const std::vector<std::string> cascades = Cascades(held, smallImage, 32).all;
        prepare(held);
        ASSERT_EQ(update().requests("pmprw").size(), cascades.size());
        for (unsigned nth = 1; nth <= cascades.size(); ++nth) {
            const std::string& cascade = cascades[nth - 1];
            for (const bool fromThenOn : {false, true}) {
                SCOPED_TRACE("request " + std::to_string(nth) + (fromThenOn ? " and all after it" : ""));
                prepare(held);
                board.settings.faults = {{"pmprw", "", nth, fromThenOn, EIO}};
                const auto run = update(5, 2);
                board.settings.faults.clear();
                const std::string console = run.console();
                const std::string first = console.substr(0, console.find(secondLine));
                const std::string second = console.substr(first.size());
                EXPECT_THAT(first, EndsWith(cascade + "INFO: Finish\n" + failed));
                EXPECT_EQ(count(first, "ERR"), count(cascade, "ERR")) << first;
                if (fromThenOn) {
                    EXPECT_EQ(second, secondLine + startLines + cascades[0] + "INFO: Finish\n" + failed);
                    EXPECT_THAT(resets(run), IsEmpty());
                    continue;
                }
                // When only the last word's status read failed, the flash is good: nothing to write or reset.
                const bool good = held == Held::equal || nth == cascades.size();
                EXPECT_EQ(resets(run).size(), good ? 0U : 1U);
                EXPECT_EQ(count(second, "is the same as binary file"), good ? 1 : 0);
                EXPECT_THAT(second, EndsWith(passed));
                EXPECT_EQ(count(second, "ERR"), 0);
                EXPECT_TRUE(flashIsImage());
            }
        }
    }
}

TEST_F(PmFirmware, NoFailedRequestOfAnyKindMakesAWrongFlashPass) {
    for (const Held held : {Held::equal, Held::blank, Held::older}) {
        prepare(held);
        board.settings.faults.clear();
        const auto undisturbed = update();
        for (unsigned nth = 1; nth <= undisturbed.requestCount; ++nth) {
            for (const bool fromThenOn : {false, true}) {
                SCOPED_TRACE("request " + std::to_string(nth) + (fromThenOn ? " and all after it" : ""));
                prepare(held);
                board.settings.faults = {{"any", "", nth, fromThenOn, EIO}};
                const std::string console = update().console();
                const bool good = console.ends_with(passed);
                EXPECT_TRUE(!good || flashIsImage()) << console;
                const bool written = good && count(console, "INFO: Upload complete") != 0;
                EXPECT_EQ(count(console, resetLine), written ? 1 : 0) << console;
                EXPECT_TRUE(good || count(console, "ERR") + count(console, "fail!") != 0) << console;
            }
        }
    }
}

TEST_F(PmFirmware, FailuresOfTheImageFileAreNamed) {
    const struct {
        Fault fault;
        const char* said;
    } cases[] = {
        {{"open", firmwareImagePath, 1}, "success!\nERR : open config binfile fail\n测试结果如下\n"},
        {{"lseek", firmwareImagePath, 1},
         "ERR : chkbinfile, length of binfile isn't alignment (-1)\nERR : main"},
        {{"pread", firmwareImagePath, 1}, "ERR : chkbinfile, read binfile fail (5)\nERR : main"},
        {{"read", firmwareImagePath, 1},
         "#1\n\nERR : verifycode, read binfile fail (00000000h)\nINFO: Total verify size = 0\n"
         "WRN : verifycode, verify not complete\nERR : main, verifycode fail\nINFO: Finish\n"},
        {{"read", firmwareImagePath, 3},
         "#1\n.\nERR : uploadcode, read binfile fail (00000200h)\nINFO: Total upload size = 512\n"
         "ERR : uploadcode, upload not complete\nERR : main, uploadcode fail\nINFO: Finish\n"},
        {{"read", firmwareImagePath, 5},  // everything is written, but was it the whole file?
         "#1\n...\nERR : uploadcode, read binfile fail (00000404h)\nINFO: Total upload size = 1028\n"
         "INFO: Upload complete\nERR : main, uploadcode fail\nINFO: Finish\n"},
    };
    for (const auto& [fault, said] : cases) {
        prepare(Held::older, 1028);
        board.settings.faults = {fault};
        const auto run = update();
        EXPECT_THAT(run.console(), HasSubstr(said));
        EXPECT_THAT(run.console(), EndsWith(failed));
        EXPECT_THAT(resets(run), IsEmpty());
    }
}

TEST_F(PmFirmware, AnUpdateThatLostPowerAnywhereIsFinishedByTheNext) {
    SpiFlash& flash = chip->flash;
    flash.busyAfterStatusWrite = flash.busyAfterProgram = flash.busyAfterErase = 1;  // so cuts tear writes
    for (const Held held : {Held::blank, Held::older}) {
        prepare(held);
        const unsigned last = update().requestCount;
        for (unsigned cut = 1; cut < last; ++cut) {
            prepare(held);
            updateAfterPowerCuts({cut});
        }
    }
}

TEST_F(PmFirmware, TheLargestImageGetsThereAfterPowerCutsOneAfterAnother) {
    prepare(Held::blank, largestImage);
    chip->flash.busyAfterErase = 1;
    std::mt19937 random(4);
    std::uniform_int_distribution<unsigned> anywhere(1, 37 + 3 * largestImage / 4);
    updateAfterPowerCuts({anywhere(random), anywhere(random)});
}

// A flash that lies gets the verdict that its answers allow; what it lost shows in the next verify.
TEST_F(PmFirmware, ALyingFlashIsBelievedOnlyAsLongAsItsAnswersAgree) {
    const std::string end = "ERR : main, check flash status fail\nINFO: Finish\n";
    const std::string complete = "INFO: Upload complete\nINFO: Finish\n" + resetLine;
    const std::string same = "INFO: Flash #1 is the same as binary file\n";
    const std::string timeout = "ERR : waitflashrdy, timeout (10000)ERR : ";
    const std::string chk0 = "ERR : chkflashsts, chk0 fail, ";
    const struct {
        const char* lie;            // in the words of a scenario
        std::string first, second;  // what each of two repetitions says
        const char* verdicts;       // and how they end
        bool isImage = true;        // what the flash reads as at the end
    } cases[] = {
        {"busyAfterProgram = 999", complete, same, "PP"},
        {"busyAfterProgram = 1000",
         "ERR : waitflashrdy, timeout (1000)ERR : writeflash, waitflashrdy(1000) fail2 (00000000h)\n"
         "ERR : chkflashsts, writeflash fail\n" +
             end,
         end, "FF", false},
        {"busyAfterErase = 9999", complete, same, "PP"},
        {"busyAfterErase = 10000",
         timeout + "eraseflash, waitflashrdy(10000) fail2\nERR : chkflashsts, eraseflash fail\n" + end, end,
         "FF", false},
        {"busyAfterStatusWrite = 10000",
         timeout + "disableflashWP, waitflashrdy(10000) fail2\nERR : chkflashsts, disableflashWP fail\n" +
             end,
         end, "FF", false},
        {"busyAtPowerUp = 9999", complete, same, "PP"},
        {"busyAtPowerUp = 10000",
         timeout + "disableflashWP, waitflashrdy(10000) fail1\nERR : chkflashsts, disableflashWP fail\n" +
             end,
         complete, "FP"},
        {"ignoredWrite = 1", chk0 + "(FFFFFFFF FFFFFFFF FFFFFFFF FFFFFFFF)\n" + end, complete, "FP"},
        {"revision = 7\nflash = 'image'\nprotection = 0\nignoredWrite = 2",  // another chip's, not erased
         chk0 + "(00000003 0000000C 00000000 00000000)\n" + end, complete, "FP"},
        {"ignoredWrite = 5", chk0 + "(00010203 FFFEFDFC FFFFFFFF F00FFF00)\n" + end, complete, "FP"},
        {"ignoredWrite = 8", complete, complete, "PP"},  // the erase before the upload
        {"ignoredWrite = 9", complete, chk0Line, "PP"},
        {"ignoredWrite = 17", complete, "verify fail (00000020h) (JMB39X = FFFFFFFFh", "PP"},
        {"stuckBit = {address = 5, bit = 0, value = false}",
         chk0 + "(00010203 FFFEFCFC 55AA55AA F00FFF00)\n" + end, end, "FF", false},
        {"stuckBit = {address = 32, bit = 1, value = true}", complete, "verify fail (00000020h)", "PP",
         false},
    };
    for (const auto& [lie, first, second, verdicts, isImage] : cases) {
        SCOPED_TRACE(lie);
        std::string text = lie;
        text += text.find("revision") == 0 ? "" : "\nrevision = 6\nprotection = 28";
        loadScenarioText(board,
                         "[firmwareImage]\nsize = 40\nrevision = 6\nbonding = 13\n"
                         "[[portMultiplier]]\ndisks = ['a']\nbonding = 13\n" +
                             text,
                         "test");
        chip = &board.chips[0];
        const auto run = update(5, 2);
        const std::string console = run.console();
        const std::string before = console.substr(0, console.find(secondLine));
        EXPECT_THAT(before, HasSubstr(first));
        EXPECT_THAT(before, EndsWith(verdictLines({verdicts[0]})));
        EXPECT_THAT(console.substr(before.size()), HasSubstr(second));
        EXPECT_THAT(console, EndsWith(verdictLines({verdicts[1]})));
        EXPECT_EQ(flashIsImage(), isImage);
        EXPECT_EQ(static_cast<int>(resets(run).size()), count(console, "INFO: Upload complete"));
    }
}

TEST_F(PmFirmware, WritesNothingUnlessChipAndImagePassedEveryCheck) {
    const auto with = [](std::size_t offset, std::uint8_t byte) {
        Bytes image = firmwareImage(smallImage, revision, bonding);
        image[offset] = byte;
        return image;
    };
    const std::string fewData = "ERR : chkbinfile, too few data when read binfile (< 32 bytes)\n";
    const std::string fileFails = "ERR : main, check binary file fail\nINFO: Finish\n";
    const struct {
        std::optional<Bytes> image;
        std::string said;
    } cases[] = {
        {std::nullopt, "ERR : open config binfile fail\n"},
        {Bytes(), chipLines + fewData + fileFails},
        {firmwareImage(28, revision, bonding), chipLines + fewData + fileFails},
        {firmwareImage(33, revision, bonding),
         chipLines + "ERR : chkbinfile, length of binfile isn't alignment (33)\n" + fileFails},
        {with(0, 0x7C), chipLines + "ERR : chkbinfile, binfile ID error (32h 197Ch)\n" + fileFails},
        {with(1, 0x0A), chipLines + "ERR : chkbinfile, binfile ID error (32h 0A7Bh)\n" + fileFails},
        {with(3, 0x31), chipLines + "ERR : chkbinfile, binfile ID error (31h 197Bh)\n" + fileFails},
        {with(4, 0x0E), chipLines + idLine + "INFO: Revision ID = 06h\n" +
                            "ERR : chkbinfile, bonding is mismatch (JMB39X = 0Dh, binfile = 0Eh)\n" +
                            fileFails},
        {with(8, 24),
         chipLines + suitsLines + "ERR : Binfine length is mismatch (exp: 44, act: 40)\n" + fileFails},
        {with(13, 0xFF),
         chipLines + suitsLines + "ERR : Binfine length is mismatch (exp: 65320, act: 40)\n" + fileFails},
    };
    for (const auto& [image, said] : cases) {
        prepare(Held::older);
        const Bytes before = chip->flash.array;
        board.firmware.content = image;
        const auto run = update();
        EXPECT_EQ(run.console(), startLines + said + failed);
        EXPECT_EQ(chip->requests.count(pmControl::writeEnable), 0U);
        EXPECT_EQ(chip->flash.array, before);
        EXPECT_THAT(resets(run), IsEmpty());
    }
}

TEST_F(PmFirmware, TakesTheChipsOwnFactsAsTheyCome) {
    prepare(Held::blank);
    chip->registers[pmRegister::presence] = 0xF8;
    chip->registers[pmRegister::bondingHigh] = 0x43;  // 0x10C: what exceeds eight bits falls away
    EXPECT_THAT(update().console(), EndsWith(passed));

    chip->registers[pmRegister::presence] = 0x7F;
    EXPECT_EQ(update().console(), startLines +
                                      "ERR : JMB39X device doesn't exist (0000007Fh)\n"
                                      "ERR : main, check 39x device fail\nINFO: Finish\n" +
                                      failed);

    chip->registers[pmRegister::presence] = 0x8F;  // another revision than the image's only warns
    board.firmware.content = firmwareImage(smallImage, 0x05, bonding);
    const auto run = update();
    EXPECT_THAT(run.console(),
                HasSubstr("WRN : chkbinfile, revision ID is mismatch (JMB39X = 06h, binfile = 05h)\n"
                          "      continue!INFO: Bonding = 0Dh\n"));
    EXPECT_THAT(run.console(), EndsWith(resetLine + passed));
    EXPECT_TRUE(flashIsImage());

    prepare(Held::blank);  // a driver's answers other than 0 are its own; 1 ends the update well
    chip->requestValue = 1;
    EXPECT_THAT(update().console(), EndsWith("bytes\nINFO: Finish\n" + passed));
    EXPECT_EQ(chip->requestCount(), 4U);
    chip->requestValue = 7;
    EXPECT_THAT(update().console(), EndsWith(passed));
    EXPECT_TRUE(flashIsImage());
}

// The update run's own lines, without those of the updates.
std::string runLines(const std::string& console) {
    std::string lines;
    std::istringstream stream(console);
    for (std::string line; std::getline(stream, line);) {
        const std::string start = line.substr(0, 4);
        lines += start == "INFO" || start == "ERR " || start == "WRN " || line == "." ? "" : line + "\n";
    }
    return lines;
}

// "a-" disk a does not open, "b+" it does, "1" chip 1 is announced, "r" a chip is reset.
std::string stepLines(const std::string& steps) {
    std::string lines;
    std::istringstream words(steps);
    for (std::string word; words >> word;) {
        const std::string open = "open /dev/sd" + word.substr(0, 1);
        lines += word == "r"          ? resetLine
                 : word.size() == 1   ? "test.." + word + "\r\n"
                 : word.back() == '+' ? open + " success!\n"
                                      : open + " fail!\n";
    }
    return lines;
}

TEST_F(PmFirmware, GoesThroughTheChipsOfEachLayout) {
    const struct {
        unsigned ports;
        const char* disks;
        const char* blank;   // disks whose chip is written
        const char* silent;  // disks whose chip does not answer
        const char* steps;
        const char* verdicts;
        Lines resets;
    } cases[] = {
        {5, "f", "", "", "a- b- c- d- e-", "N", {}},
        {5, "cd", "c", "", "a- b- c+ r", "P", {"0x100"}},
        {5, "ab", "b", "a", "a+", "F", {}},
        {5, "e", "", "", "a- b- c- d- e+", "P", {}},
        {9, "", "", "", "", "NN", {}},
        {9, "bi", "", "", "1 b+", "PN", {}},
        {9, "ij", "ij", "", "1 i+ r 2 j+ r", "PP", {"0x100", "0x80"}},
        {9, "aehk", "e", "a", "1 a+ 2 e+ r", "FP", {"0x80"}},
        {16, "q", "q", "", "", "NNNN", {}},
        {16, "efp", "f", "e", "2 e+ 4 p+", "NFNP", {}},
        {16, "hp", "hp", "", "2 h+ 4 p+ r r", "NPNP", {"0x100", "0x80"}},
        {16, "dhl", "dh", "", "1 d+ 2 h+ 3 l+ r", "PPPN", {"0x100"}},
        {16, "aeim", "eim", "a", "1 a+ 2 e+ 3 i+ 4 m+ r r", "FPPP", {"0x100", "0x80"}},
    };
    for (const auto& [ports, disks, blank, silent, steps, verdicts, groups] : cases) {
        SCOPED_TRACE(std::to_string(ports) + " ports, disks " + disks);
        board.chips.clear();
        board.drives.drives.clear();
        for (const char disk : std::string(disks)) {  // each its own chip, so that none is asked unseen
            chip = addChip(disk);
            prepare(std::strchr(blank, disk) != nullptr ? Held::blank : Held::equal);
            chip->registers[pmRegister::presence] = std::strchr(silent, disk) != nullptr ? 0 : 0x8F;
        }
        const auto run = update(ports);
        EXPECT_EQ(runLines(run.console()), "sata_port_num = " + std::to_string(ports) + " \n" +
                                               stepLines(steps) + verdictLines(verdicts));
        EXPECT_EQ(resets(run), groups);
        for (const PortMultiplier& each : board.chips) {
            EXPECT_EQ(each.requestCount() != 0, count(steps, each.disks[0] + "+") != 0) << each.disks[0];
        }
    }
}

TEST_F(PmFirmware, EachRepetitionStartsAfresh) {
    for (const unsigned ports : {0U, 1U, 4U, 8U, 15U, 255U}) {
        const std::string number = std::to_string(ports);
        const std::string wrong =
            "sata_port_num = " + number + " \n硬盘个数为" + number + ",请检查CPLD是否正确烧写\n";
        EXPECT_EQ(update(ports).console(), wrong);
        EXPECT_EQ(update(ports, 2).console(), "\n第1次测试\n" + wrong + "\n第2次测试\n" + wrong);
    }
    EXPECT_EQ(update(16, 0).console(), "");

    prepare(Held::blank);  // written and reset in the first repetition, left alone in the second
    const auto run = update(16, 2);
    const std::string second = run.console().substr(run.console().find(secondLine));
    EXPECT_EQ(resets(run), Lines{"0x100"});
    EXPECT_EQ(count(run.console(), "test..1\r\n"), 2);
    EXPECT_THAT(second, Not(HasSubstr(resetLine)));
    EXPECT_THAT(second, EndsWith(verdictLines("PNNN")));
}

// What a careless tool would trip over: the updates above never do.
TEST(SpiFlash, WritesOnlyWhenEnabledReadyAndUnprotectedAndLosesHalfAWriteWithPower) {
    SpiFlash flash;
    flash.busyAfterProgram = 2;
    const auto program = [&flash](std::uint32_t address, std::uint32_t word) {
        flash.writeEnable();
        flash.program(address, word);
    };
    flash.program(0, 0);  // not enabled
    EXPECT_EQ(flash.read(0), 0xFFFFFFFF);
    program(0, 0x0F0F0F0F);
    program(4, 0);  // busy: neither enabled nor programmed
    EXPECT_EQ(flash.read(0), 0xFFFFFFFF);
    EXPECT_EQ(flash.readStatus(), flashBusy | SpiFlash::writeEnableLatch);
    EXPECT_EQ(flash.readStatus(), flashBusy | SpiFlash::writeEnableLatch);
    EXPECT_EQ(flash.readStatus(), 0);
    flash.program(4, 0);  // the latch fell
    EXPECT_EQ(flash.read(4), 0xFFFFFFFF);
    program(0, 0xFFFFFFFE);
    flash.powerUp();
    EXPECT_EQ(flash.read(0), 0x0F0F0F0E);  // bits only fall
    program(8, 0x11223344);
    flash.powerUp();
    EXPECT_EQ(flash.read(8), 0xFFFF3344);

    flash.protection = SpiFlash::blockProtection;
    flash.writeEnable();
    flash.eraseChip();
    program(12, 0);
    EXPECT_EQ(flash.readStatus(), SpiFlash::blockProtection | SpiFlash::writeEnableLatch | flashBusy);
    flash.powerUp();
    EXPECT_EQ(flash.read(0), 0x0F0F0F0E);
    EXPECT_EQ(flash.read(12), 0xFFFFFFFF);
}

}  // namespace
