// The exchange with the RS485 test device, reply by reply.

#include "tests/tool_runs.h"

using namespace std::chrono_literals;
using vboard::SerialLine;
using vboard::TestDeviceAnswer;
using vboard::Time;
using vboard::VirtualBoard;
using Bytes = std::vector<std::uint8_t>;

namespace {

const Bytes goodReply = vboard::goodAnswer();
constexpr char notTaken[] = "RS485匹配数据失败";
constexpr char tooManyZeros[] = "read 0 more than 10 times, return false";

std::string trial(int number, bool passed) {
    return "RS485第 " + std::to_string(number) + (passed ? " 次测试成功" : " 次测试失败");
}

std::string totals(int successes, int failures) {
    return "RS485测试成功次数为 " + std::to_string(successes) + "，错误次数为 " + std::to_string(failures) +
           "\n" + (successes == 3 && failures == 0 ? "485测试成功\n" : "485测试失败\n");
}

// One exchange whose last trial gets this answer, after two good ones; passed says how it went. Returns what
// was printed for that trial.
std::string lastTrial(const TestDeviceAnswer& answer, bool* passed, std::size_t receiveTrigger = 1) {
    VirtualBoard board = VirtualBoard::healthy();
    board.rs485.answers = {TestDeviceAnswer(), TestDeviceAnswer(), answer};
    board.rs485.line.receiveTrigger = receiveTrigger;
    const vboard::Run run = runModule(board, {"rs485ExchangeTest"});
    const std::string start = trial(1, true) + trial(2, true);
    const std::string text = run.console();
    *passed = text.ends_with(trial(3, true) + totals(3, 0));
    EXPECT_TRUE(*passed || text.ends_with(trial(3, false) + totals(2, 1))) << text;
    EXPECT_THAT(text, testing::StartsWith(start));
    EXPECT_EQ(board.rs485.frames.size(), 6U);
    EXPECT_EQ(board.rs485.badFrames + board.rs485.bytesNotDriven, 0U);
    EXPECT_FALSE(board.rs485Switches.transmitterOn || board.rs485Switches.receiverOn);
    EXPECT_TRUE(run.openAtEnd.empty());
    return text.substr(start.size(), text.find("RS485第 3") - start.size());
}

}  // namespace

TEST(Rs485Exchange, EachKindOfReplyHasItsVerdict) {
    const struct {
        Bytes bytes;
        unsigned zeros;
        bool passes;
        std::string says;
    } cases[] = {
        {goodReply, 9, true, ""},
        {goodReply, 10, false, tooManyZeros},
        {{0x55, 0xBB, 0x20, 0x12, 0x11, 0x22}, 0, false, ""},              // an attempt per byte
        {{0x55, 0xAA, 0xBB, 0x20, 0x12, 0x11, 0x22}, 0, true, ""},         // the second attempt
        {{0x55, 0x66, 0xAA, 0xBB, 0x20, 0x12, 0x11, 0x22}, 0, false, ""},  // there is no third
        {{0xAA, 0x01, 0x01, 0x01, 0x01, 0x01, 0xAA, 0xBB, 0x20, 0x12, 0x11, 0x22},
         0,
         true,
         std::string(notTaken) + notTaken + notTaken + notTaken + notTaken},
    };
    for (const auto& row : cases) {
        bool passed = false;
        EXPECT_EQ(lastTrial({row.bytes, row.zeros}, &passed, 16), row.says);
        EXPECT_EQ(passed, row.passes) << vboard::hexText(row.bytes.data(), row.bytes.size());
    }
    bool passed = true;
    EXPECT_EQ(count(lastTrial({{}}, &passed), "read select timeout["), 2);
    EXPECT_FALSE(passed);
}

// A byte of 0 in the lead's place is skipped as one that the bus idles into; any other is dropped.
TEST(Rs485Exchange, NoDamagedByteAndNoMissingByteIsTaken) {
    VirtualBoard board = VirtualBoard::healthy();
    board.settings.timeLimit = 10h;
    for (std::size_t place = 0; place < goodReply.size(); ++place) {
        for (int change = 1; change < 256; ++change) {
            Bytes reply = goodReply;
            reply[place] = static_cast<std::uint8_t>(reply[place] ^ change);
            board.rs485.answers.insert(board.rs485.answers.end(), {{}, {}, {reply}});
        }
    }
    const vboard::Run run = runModule(board, {"rs485ExchangeTest", "1530"});
    EXPECT_EQ(count(run.console(), totals(2, 1)), 1530);
    EXPECT_EQ(count(run.console(), notTaken), 1275);

    for (std::size_t length = 1; length < goodReply.size(); ++length) {
        bool passed = true;
        (void)lastTrial({Bytes(goodReply.begin(), goodReply.begin() + static_cast<std::ptrdiff_t>(length))},
                        &passed);
        EXPECT_FALSE(passed) << length;
    }
}

TEST(Rs485Exchange, RepliesJustBeforeAndJustAfterEachLimit) {
    const Time byte = SerialLine::otherEndCharacterTime;
    const Time sent = 8 * byte;           // the frame, from write to its last bit
    const Time listening = 20ms - sent;   // after that: 10 ms of settling twice, then the receiver
    const Time armed = listening + 10ms;  // the first wait
    const Time secondEnd = armed + 2s + 1s + 10ms + 2s;
    const Time cost = 1ms;  // of the requests in between, at most
    const struct {
        TestDeviceAnswer answer;
        bool passes;
    } cases[] = {
        {{goodReply, 0, listening - byte - 100us}, false},  // the lead comes before the receiver is on
        {{goodReply, 0, listening - byte + cost}, true},   {{goodReply, 0, armed + 2s - byte - 100us}, true},
        {{goodReply, 0, armed + 2s - byte + cost}, true},  // by the second attempt
        {{goodReply, 0, secondEnd - byte - 100us}, true},  {{goodReply, 0, secondEnd - byte + cost}, false},
    };
    for (const auto& row : cases) {
        bool passed = false;
        (void)lastTrial(row.answer, &passed);
        EXPECT_EQ(passed, row.passes) << row.answer.after.count();
    }
    const Time slack = 10ms - 5 * byte;  // between the lead and the read of the other five
    for (std::size_t split = 1; split < goodReply.size(); ++split) {
        for (const bool inTime : {true, false}) {
            bool passed = !inTime;
            (void)lastTrial({goodReply, 0, 30ms, split, inTime ? slack - 100us : slack + 200us}, &passed);
            EXPECT_EQ(passed, inTime) << split;
        }
    }
}

TEST(Rs485Exchange, AFailedSendCountsAndMayLeaveTheTransmitterOn) {
    for (unsigned nth = 1; nth <= 6; ++nth) {
        for (const int error : {EIO, EINTR}) {
            VirtualBoard board = VirtualBoard::healthy();
            board.settings.faults = {{"write", "/dev/ttyS1", nth, false, error}};
            const vboard::Run run = runModule(board, {"rs485ExchangeTest"});
            const bool isCommand = nth % 2 == 1;
            EXPECT_THAT(run.console(), testing::HasSubstr(totals(isCommand ? 2 : 3, 1)));
            EXPECT_EQ(count(run.console(), error == EIO ? "write error: Input/output error\n"
                                                        : "errno = EINTR, error = Interrupted system call\n"),
                      1);
            EXPECT_EQ(board.rs485Switches.transmitterOn, nth >= 5) << nth;  // nothing is sent after it
        }
    }
    VirtualBoard board = VirtualBoard::healthy();
    board.rs485.line.transmitQueueBytes = 4;  // and one that is being sent: each write is cut short
    const vboard::Run run = runModule(board, {"rs485ExchangeTest"});
    EXPECT_THAT(run.console(), testing::EndsWith(totals(0, 3)));
    EXPECT_EQ(count(run.console(), "write RS485 error:["), 3);
}

TEST(Rs485Exchange, WhatIsMissingIsNamed) {
    VirtualBoard board = VirtualBoard::healthy();
    board.rs485.present = false;
    EXPECT_EQ(runModule(board, {"rs485ExchangeTest"}).console(), "设备 /dev/ttyS1 不存在\n");
    board.rs485.present = true;
    board.control.present = false;
    const vboard::Run run = runModule(board, {"rs485ExchangeTest"});
    EXPECT_THAT(run.console(), testing::EndsWith(totals(0, 3)));
    EXPECT_GT(count(run.console(), "open ZORIO failed\n"), 6);
    EXPECT_EQ(board.rs485.bytesNotDriven, 48U);

    const std::pair<unsigned, const char*> reads[] = {{1, ""}, {2, "RS485接收失败,Input/output error\n"}};
    for (const auto& [nth, says] : reads) {
        VirtualBoard faulty = VirtualBoard::healthy();
        faulty.settings.faults = {{"read", "/dev/ttyS1", nth}};
        faulty.rs485.answers = {{goodReply, 0, 30ms}};  // no byte ends while the receiver is off in between
        const std::string text = runModule(faulty, {"rs485ExchangeTest"}).console();
        EXPECT_THAT(text, testing::StartsWith(says + trial(1, nth == 1)));
    }
}
