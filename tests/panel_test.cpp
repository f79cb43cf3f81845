// The front panel test: the time that an answer may take, keys and lamps, and that a heartbeat never reaches
// anything but the open panel port.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tool_runs.h"

using namespace std::chrono_literals;
using vboard::FrontPanel;
using vboard::SerialLine;
using vboard::Time;
using vboard::TimedBytes;
using vboard::VirtualBoard;
using Bytes = std::vector<std::uint8_t>;

namespace {

constexpr char startFrames[] = "FE 07 30 02 00 00 37\nFE 07 30 04 00 04 3D\nFE 07 30 12 00 AA F1\n";
constexpr char green[] = "FE 07 30 12 00 AA F1\n";
constexpr char red[] = "FE 07 30 12 00 55 9C\n";
constexpr char query[] = "FE 07 30 02 00 00 37\n";
constexpr char startMessage[] =
    "面板测试开始\n面板输入UP       点亮所有灯绿色\n"
    "面板输入DOWN     点亮所有灯红色\n面板输入MENU       退出面板测试\n";

const Bytes plainAnswer = {0xFF, 0x04, 0x30, 0x33};

// Each heartbeat goes to the open panel port and is through before the port is closed.
void expectHeartbeatsOnOpenPort(const VirtualBoard& board, const vboard::Run& run) {
    bool isOpen = false;
    Time busyUntil{0};
    for (const vboard::TraceEntry& entry : run.trace) {
        if (entry.request == "open" && entry.where == "/dev/ttyS3") {
            isOpen = entry.error == 0;
        } else if (entry.request == "close" && entry.where == "/dev/ttyS3") {
            EXPECT_GE(entry.at, busyUntil) << "closed while a heartbeat was being written";
            isOpen = false;
        } else if (entry.request == "write" && entry.task != "main") {
            EXPECT_TRUE(isOpen && entry.where == "/dev/ttyS3" && entry.error == 0) << entry.text();
            busyUntil = entry.at + board.panel.line.writeTakes;
        }
    }
}

void expectCleanEnd(const VirtualBoard& board, const vboard::Run& run) {
    EXPECT_EQ(run.exitStatus(), 0) << run.errors;
    EXPECT_EQ(run.errors, "");
    EXPECT_TRUE(run.openAtEnd.empty());
    EXPECT_FALSE(run.anyRefused());
    EXPECT_EQ(board.panel.badFrames, 0U);
    expectHeartbeatsOnOpenPort(board, run);
}

// Whether test 3 takes this answer to the query.
bool takesAnswer(const std::vector<TimedBytes>& answer, bool selectWritesBack) {
    VirtualBoard board = VirtualBoard::healthy();
    board.settings.selectWritesBack = selectWritesBack;
    board.panel.answer = answer;
    board.panel.press({"MENU"});
    expectCleanEnd(board, board.run({"-o", "3"}));
    return board.panel.frameTexts() != query;
}

}  // namespace

// The query's last byte reaches the panel seven bytes after the tool starts to wait.
TEST(PanelTest, AnswersJustBeforeAndJustAfterTheLimit) {
    const Time byte = SerialLine::otherEndCharacterTime;
    const Time limit = 10s - 7 * byte;  // counted from the query's last byte, for an answer's last byte
    const Bytes keyReply = FrontPanel::frame({0x21, 0x00, 0x01});
    const auto bytesAt = [](Time first, Time second, Time third, Time fourth) {
        return std::vector<TimedBytes>{{first, {0xFF}}, {second, {0x04}}, {third, {0x30}}, {fourth, {0x33}}};
    };
    for (const bool writesBack : {true, false}) {
        for (const Time margin : {-1ms, 1ms}) {
            for (const Bytes& answer : {plainAnswer, keyReply}) {
                const Time sent = limit + margin - byte * static_cast<int>(answer.size());
                EXPECT_EQ(takesAnswer({{sent, answer}}, writesBack), margin < 0s);
            }
            // Each byte well within 10 s of the one before, the last one just in time and just too late.
            EXPECT_EQ(takesAnswer(bytesAt(3s, 6s, 9s, limit + margin - byte), writesBack), margin < 0s);
        }
        // Bytes before the start byte and frames of an unknown type start the time anew.
        EXPECT_TRUE(takesAnswer({{9s, {0x00}}, {18s, {0x12, 0x34}}, {27s, plainAnswer}}, writesBack));
        EXPECT_TRUE(takesAnswer({{9s, {0xFF, 0x06, 0x40}}, {18s, plainAnswer}}, writesBack));
        EXPECT_FALSE(takesAnswer(bytesAt(9s, 9500ms, 9900ms, 10100ms), writesBack));
    }
}

TEST(PanelTest, FollowsTheKeysAndLeavesTheRestAlone) {
    const Bytes upTwice = {0xFF, 0x06, 0x20, 0x14, 0x01, 0x3A};  // UP with a second data byte
    VirtualBoard board = VirtualBoard::healthy();
    board.panel.press({"UP", "DOWN", "UP", "LEFT", "ENTER", "POWER", "DOWN", "MENU", "UP"});
    board.panel.sends.push_back({100ms, upTwice});
    const vboard::Run run = board.run({"-o", "3"});
    expectCleanEnd(board, run);
    EXPECT_EQ(board.panel.frameTexts(), std::string(startFrames) + green + red + green + red);
    EXPECT_EQ(board.panel.lamps, FrontPanel::Lamps::red);
    EXPECT_THAT(run.console(), testing::EndsWith(startMessage));
}

TEST(PanelTest, KeysArriveInEverySplit) {
    for (const std::size_t trigger : {1U, 6U}) {
        VirtualBoard board = VirtualBoard::healthy();
        board.panel.line.receiveTrigger = trigger;
        board.panel.sends.clear();
        std::string expected = startFrames;
        Time at{0};
        for (const std::string key : {"UP", "DOWN"}) {
            const Bytes frame = FrontPanel::keyFrame(key);
            for (auto split = frame.begin() + 1; split != frame.end(); ++split) {
                board.panel.sends.push_back({at += 1s, {frame.begin(), split}});
                board.panel.sends.push_back({at += 70s, {split, frame.end()}});
                expected += key == "UP" ? green : red;
            }
        }
        board.panel.sends.push_back({at + 1s, FrontPanel::keyFrame("MENU")});
        board.settings.timeLimit = 1h;
        expectCleanEnd(board, board.run({"-o", "3"}));
        EXPECT_EQ(board.panel.frameTexts(), expected);
    }
}

TEST(PanelTest, EveryReturnClosesThePort) {
    using Faults = std::vector<vboard::Fault>;
    const struct {
        Faults faults;
        Bytes answer;
        std::string says;
        std::string frames;
    } cases[] = {
        {{}, plainAnswer, startMessage, startFrames},
        {{}, {}, "", query},                                     // silent
        {{}, FrontPanel::frame({0x30, 0x01, 0x00}), "", query},  // low eight bits 0
        {{}, {0xFF, 0x04, 0x30, 0x34}, "", query},               // damaged
        {Faults{{"open", "/dev/ttyS3", 1}}, plainAnswer, "pannel init failed !\n", ""},
        {Faults{{"pthread_create", "", 1}}, plainAnswer,
         std::string("can not creat HB thread\n") + startMessage, startFrames},
        {Faults{{"pthread_create", "", 2}}, plainAnswer,
         "can not creat HB thread\n创建面板心跳守护进程失败 !\n", ""},
    };
    for (const auto& row : cases) {
        VirtualBoard board = VirtualBoard::healthy();
        board.settings.faults = row.faults;
        board.panel.line.waitingAtOpen = plainAnswer;  // came before the test: no answer
        board.panel.answer = {{20ms, row.answer}};
        board.panel.press({"MENU"});
        const vboard::Run run = board.run({"-o", "3"});
        expectCleanEnd(board, run);
        EXPECT_EQ(run.console(), "设备网卡个数(2)\n" + row.says);
        EXPECT_EQ(board.panel.frameTexts(), row.frames);
    }
}

// A read that fails now and then is passed over; a port that has gone must not keep the test for ever.
TEST(PanelTest, OutlivesFailedReadsButNotItsPort) {
    VirtualBoard board = VirtualBoard::healthy();
    for (const unsigned nth : {5U, 6U, 13U}) {  // past the answer's four bytes, and past UP
        board.settings.faults.push_back({"read", "/dev/ttyS3", nth});
    }
    board.panel.press({"UP", "DOWN", "MENU"}, 3s);
    expectCleanEnd(board, board.run({"-o", "3"}));
    EXPECT_EQ(board.panel.frameTexts(), std::string(startFrames) + green + red);

    board.settings.faults.clear();
    board.settings.timeLimit = 1min;
    board.panel.hangsUpAfter = 4s;  // after UP
    expectCleanEnd(board, board.run({"-o", "3"}));
    EXPECT_EQ(board.panel.frameTexts(), std::string(startFrames) + green);
}

TEST(PanelTest, HeartbeatsEveryTenSecondsFromEachThread) {
    VirtualBoard board = VirtualBoard::healthy();
    board.panel.press({"MENU"}, 35s);
    const vboard::Run run = board.run({"-o", "3"});
    expectCleanEnd(board, run);
    for (const std::string thread : {"thread 1", "thread 2"}) {
        Time expected = 12100ms;
        for (const vboard::TraceEntry& entry : run.requests("write", "/dev/ttyS3")) {
            if (entry.task == thread) {
                EXPECT_EQ(entry.data, (Bytes{0xFE, 0x07, 0x30, 0x06, 0x00, 0x00, 0x3B}));
                EXPECT_NEAR(static_cast<double>((entry.at - expected).count()), 0, 3e6) << thread;
                expected += 10s;
            }
        }
        EXPECT_EQ(expected, 42100ms) << thread;
    }
}

// MENU comes before, during and after a heartbeat's slow write, with the port opened again at once: its
// number is then the same.
TEST(PanelTest, NoHeartbeatOutlivesItsPort) {
    for (Time menu = 8200ms; menu < 10500ms; menu += 50ms) {
        VirtualBoard board = VirtualBoard::healthy();
        board.panel.line.writeTakes = 300ms;
        board.panel.press({"MENU"}, menu);
        expectCleanEnd(board, board.run({"-o", "3", "2"}));
    }
}

TEST(PanelTest, NoHeartbeatReachesTheNextFileWithThePortsNumber) {
    for (const bool silent : {false, true}) {
        VirtualBoard board = VirtualBoard::healthy();
        if (silent) {
            board.panel.answer.clear();
        }
        const vboard::Run run = runModule(board, {"pipe=1", "panelTestAndReuse"});
        EXPECT_EQ(run.console() + joined(run.records()), "");  // the start message is for the console
        EXPECT_THAT(run.openAtEnd, testing::ElementsAre("/var/r8.fifo", "/dev/zorio"));
        EXPECT_EQ(run.requests("open", "/dev/zorio").at(0).result,
                  run.requests("open", "/dev/ttyS3").at(0).result);
        expectHeartbeatsOnOpenPort(board, run);
    }
}

TEST(PanelTest, KeepsTheCharacterFormatOfThePort) {
    VirtualBoard board = VirtualBoard::healthy();
    board.panel.line.attributes.c_cflag |= CRTSCTS;
    board.panel.line.attributes.c_cflag &= ~static_cast<tcflag_t>(CREAD | CLOCAL);
    (void)cfsetospeed(&board.panel.line.attributes, B115200);
    const vboard::Run run = board.run({"-o", "3"});
    expectCleanEnd(board, run);
    EXPECT_EQ(run.requests("tcflush", "/dev/ttyS3").at(0).option, unsigned{TCIOFLUSH});
    EXPECT_EQ(board.panel.line.attributes.c_cflag & (CSIZE | PARENB | CRTSCTS), CS8 | CRTSCTS);
    EXPECT_EQ(board.panel.frameTexts(), std::string(startFrames) + green + red);
}
