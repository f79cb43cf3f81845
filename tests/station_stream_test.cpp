// The record stream, whole, torn and garbled, and its GBK.

#include "station/interpret/run_interpreter.h"
#include "station/interpret/text.h"
#include "station/link/record_framer.h"
#include "tests/station_bench.h"

using namespace station;
using namespace station_test;
using testing::ElementsAre;

namespace {

std::vector<std::string> textsOf(RecordFramer& framer, const std::vector<std::string>& pieces) {
    std::vector<std::string> texts;
    for (const std::string& piece : pieces) {
        framer.feed(piece, [&](std::string_view text) { texts.push_back(utf8FromGbk(text)); });
    }
    return texts;
}

TestRun interpret(std::string_view bytes) {
    RecordFramer framer;
    RunInterpreter interpreter;
    framer.feed(bytes, [&](std::string_view text) { interpreter.record(1, utf8FromGbk(text)); });
    interpreter.finish(2, {}, framer.torn());
    return interpreter.run;
}

TEST(StationStream, givesTheSameRecordsWhereverItIsSplit) {
    const std::string bytes = stream({"网卡1:", "", "\n", std::string(1023, 'x')});
    for (std::size_t split = 0; split <= bytes.size(); ++split) {
        RecordFramer framer;
        const auto texts = textsOf(framer, {bytes.substr(0, split), bytes.substr(split)});
        EXPECT_THAT(texts, ElementsAre("网卡1:", "", "\n", std::string(1023, 'x'))) << split;
        EXPECT_FALSE(framer.torn()) << split;
    }
}

TEST(StationStream, cutAfterAnyByteIsIncompleteAndKeepsWhatCame) {
    const std::string bytes = stream(healthyTexts());
    for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
        const TestRun run = interpret(bytes.substr(0, cut));
        ASSERT_EQ(run.outcome, Outcome::incomplete) << cut;
        ASSERT_FALSE(run.reasons.empty()) << cut;
    }
    EXPECT_TRUE(interpret(bytes).reasons.empty());
    const TestRun cutInDrive = interpret(bytes.substr(0, bytes.find("VB-DISK")));
    EXPECT_EQ(cutInDrive.values<Sata>().drives[0].serial, "VB-40A1170231");
}

TEST(StationStream, garbageEndsTheFramingWithoutMemoryForIt) {
    struct {
        std::uint32_t reserved, length;
    } const garbage[] = {{0, 1024}, {0, 0xFFFFFFFF}, {0, 0x80000000}, {1, 3}, {0xFFFFFFFF, 0xFFFFFFFF}};
    for (const auto& [reserved, length] : garbage) {
        RecordFramer framer;
        const auto texts = textsOf(
            framer, {stream({"好"}), header(reserved, length), std::string(100000, 'x'), stream({"no"})});
        EXPECT_THAT(texts, ElementsAre("好"));
        EXPECT_TRUE(framer.torn());
        EXPECT_LE(framer.pending.capacity(), 2048u);
    }
    RecordFramer framer;  // a length that swallows the next header
    EXPECT_THAT(textsOf(framer, {stream({"好"}) + header(0, 12) + stream({"网卡", "接通"})}),
                ElementsAre("好"));
    EXPECT_TRUE(framer.torn());
}

TEST(StationStream, anyByteChangedIsReadWithoutACrash) {
    const std::string bytes = stream(healthyTexts());
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        std::string changed = bytes;
        changed[i] = static_cast<char>(changed[i] ^ (i % 3 == 0 ? 0x01 : i % 3 == 1 ? 0x80 : 0xFF));
        (void)interpret(changed);
    }
}

TEST(StationStream, textBehindTheEndIsNotTakenForThisRun) {
    const std::string bytes = stream(healthyTexts()) + stream({"485口       : 失败  \n"});
    EXPECT_EQ(interpret(bytes).outcome, Outcome::incomplete);
}

TEST(StationStream, toolGoneWildTakesALimitedAmountOfMemory) {
    for (const std::string& text :
         {std::string("x\n"), std::string(1000, 'y') + "\n", std::string(1023, 'z'),
          std::string("第1步:网络状态\n"), std::string("第2步:"), std::string("网卡1:\n")}) {
        RunInterpreter interpreter;
        interpreter.record(0, "第1步:网络状态\n");
        for (int i = 0; i < 30000; ++i) {
            interpreter.record(0, text);
        }
        interpreter.console(0, "网卡1 mac地址:x");
        interpreter.finish(1, {}, false);
        std::size_t lines = 0;
        std::size_t bytes = 0;
        for (const Step& step : interpreter.run.steps) {
            for (const Line& line : step.lines) {
                ++lines;
                bytes += line.text.size();
            }
        }
        EXPECT_LE(lines, 20000u) << text;
        EXPECT_LE(bytes, 4'300'000u) << text;
        EXPECT_LE(interpreter.run.steps.size(), lines + 2) << text;
        EXPECT_LE(interpreter.run.values<Network>().cards.size(), lines) << text;
        EXPECT_LE(interpreter.run.unknown.size(), 10u) << text;
        EXPECT_EQ(interpreter.run.outcome, Outcome::incomplete) << text;
    }
}

TEST(StationText, replacesWhatIsNoTextAndWhatMovesTheCursor) {
    const struct {
        std::string bytes, text;
    } cases[] = {
        {gbk("网卡"), "网卡"},
        {gbk("网卡").substr(0, 3), "网\uFFFD"},  // cut inside a character
        {gbk("网卡").substr(0, 1) + "\n", "\uFFFD\n"},
        {"\xFF\xFFok", "\uFFFD\uFFFDok"},
        {"\x1B[2J\a\tx\r\n", "\uFFFD[2J\uFFFD\tx\n"},
        {std::string("a\0b", 3), "a\uFFFDb"},
    };
    for (const auto& [bytes, text] : cases) {
        EXPECT_EQ(utf8FromGbk(bytes), text);
    }
    EXPECT_EQ(utf8FromEither("板\u009B1m\uFFFF"), "板\uFFFD1m\uFFFD");
    EXPECT_EQ(utf8FromEither(gbk("板")), "板");
}

TEST(StationText, measuresScreenColumns) {
    EXPECT_EQ(screenWidth("网卡1"), 5u);
    EXPECT_EQ(clipToWidth("网卡1", 3), "网");
    EXPECT_EQ(padToWidth("网", 4), "网  ");
}

}  // namespace
