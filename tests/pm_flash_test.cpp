// Test 10: flash that loses power or lies; and the flash of the virtual board itself.

#include "tests/pm_update.h"

using testing::EndsWith;
using testing::HasSubstr;
using namespace vboard;
using namespace pm;

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

// What a careless tool would trip over: the updates above never do.
TEST(SpiFlash, WritesOnlyWhenEnabledReadyAndUnprotectedAndLosesHalfAWriteWithPower) {
    constexpr std::uint32_t nothing = 0xFFFFFFFF;  // erased, or nobody drives the line
    SpiFlash flash;
    flash.busyAfterProgram = 2;
    const auto program = [&flash](std::uint32_t address, std::uint32_t word) {
        flash.writeEnable();
        flash.program(address, word);
    };
    flash.load({0xFF, 0xFF, 0xFF, 0x7F});
    flash.program(0, 0);  // not enabled
    EXPECT_EQ(flash.read(0), 0x7FFFFFFFU);
    program(0, 0x0F0F0F0F);
    program(4, 0);  // busy: neither enabled nor programmed, and silent
    flash.writeEnable();
    flash.eraseChip();
    EXPECT_EQ(flash.read(0), nothing);
    EXPECT_EQ(flash.readStatus(), flashBusy | SpiFlash::writeEnableLatch);
    EXPECT_EQ(flash.readStatus(), flashBusy | SpiFlash::writeEnableLatch);
    EXPECT_EQ(flash.readStatus(), 0) << "the latch fell";
    flash.program(4, 0);
    EXPECT_EQ(flash.read(4), nothing);
    program(0, 0xFFFFFFFE);
    flash.powerUp();
    EXPECT_EQ(flash.read(0), 0x0F0F0F0E) << "bits only fall";
    program(510, 0);
    while ((flash.readStatus() & flashBusy) != 0) {
    }
    EXPECT_EQ(flash.read(512), nothing) << "a program stays in its page";
    EXPECT_EQ(flash.read(256), 0xFFFF0000U);
    program(8, 0x11223344);
    flash.powerUp();
    EXPECT_EQ(flash.read(8), 0xFFFF3344);

    flash.busyAtPowerUp = 1;  // with something else than a write
    flash.powerUp();
    flash.writeEnable();
    EXPECT_EQ(flash.readStatus(), flashBusy);
    EXPECT_EQ(flash.readStatus(), 0);
    flash.protection = SpiFlash::blockProtection;
    flash.writeEnable();
    flash.eraseChip();
    program(12, 0);
    EXPECT_EQ(flash.readStatus(), SpiFlash::blockProtection | SpiFlash::writeEnableLatch | flashBusy);
    flash.busyAtPowerUp = 0;
    flash.powerUp();
    EXPECT_EQ(flash.read(0), 0x0F0F0F0E);
    EXPECT_EQ(flash.read(12), nothing);
}
