// Test 10: the requests of an update, byte for byte and in their number, and what is said when each of them
// fails.

#include "tests/golden.h"
#include "tests/pm_update.h"

using testing::EndsWith;
using testing::IsEmpty;
using namespace vboard;
using namespace pm;

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
    std::string story;
    for (const auto& [held, name] :
         {std::pair(Held::equal, "equal"), {Held::blank, "blank"}, {Held::older, "older"}}) {
        prepare(held);
        const std::size_t requests = update().requests("pmprw").size();
        for (unsigned nth = 1; nth <= requests; ++nth) {
            for (const bool fromThenOn : {false, true}) {
                SCOPED_TRACE(name + (" request " + std::to_string(nth)) + (fromThenOn ? " and on" : ""));
                prepare(held);
                board.settings.faults = {{"pmprw", "", nth, fromThenOn, EIO}};
                const auto run = update(5, 2);
                board.settings.faults.clear();
                const std::string console = run.console();
                const std::string first = console.substr(0, console.find(secondLine));
                const std::string second = console.substr(first.size());
                EXPECT_THAT(first, EndsWith("INFO: Finish\n" + failed));
                if (fromThenOn) {
                    EXPECT_THAT(second, EndsWith("INFO: Finish\n" + failed));
                    EXPECT_THAT(resets(run), IsEmpty());
                    continue;
                }
                story += name + (", request " + std::to_string(nth)) + " fails\n" +
                         first.substr(first.find("ERR"), first.find("INFO: Finish") - first.find("ERR"));
                // When only the last word's status read failed, the flash is good: nothing to write or reset.
                const bool good = held == Held::equal || nth == requests;
                EXPECT_EQ(resets(run).size(), good ? 0U : 1U);
                EXPECT_EQ(count(second, "is the same as binary file"), good ? 1 : 0);
                EXPECT_THAT(second, EndsWith(passed));
                EXPECT_EQ(count(second, "ERR"), 0);
                EXPECT_TRUE(flashIsImage());
            }
        }
    }
    expectGolden("pm-failed-requests", story);
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
