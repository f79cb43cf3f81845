// The front panel: frames both ways, the time that a frame may take, keys and lamps, and that a heartbeat
// never reaches anything but the open panel port.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "r8/contract/panel_frames.h"
#include "r8/panel/panel_link.h"
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

// The value that ReadPanelFrame finds in these bytes with nothing behind them.
int valueOf(const Bytes& bytes) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    EXPECT_EQ(write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    (void)close(ends[1]);
    const int value = ReadPanelFrame(ends[0], 0, 0);
    (void)close(ends[0]);
    return value;
}

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

// Test 3 with this answer to the query, and what the panel got.
std::string framesAfterAnswer(const std::vector<TimedBytes>& answer, bool selectWritesBack = true,
                              vboard::Run* left = nullptr) {
    VirtualBoard board = VirtualBoard::healthy();
    board.settings.selectWritesBack = selectWritesBack;
    board.panel.answer = answer;
    board.panel.press({"MENU"});
    const vboard::Run run = board.run({"-o", "3"});
    expectCleanEnd(board, run);
    if (left != nullptr) {
        *left = run;
    }
    return board.panel.frameTexts();
}

std::vector<TimedBytes> pieces(const Bytes& frame, const std::vector<Time>& moments) {
    std::vector<TimedBytes> result;
    for (std::size_t i = 0; i < frame.size(); ++i) {
        result.push_back({moments[i], {frame[i]}});
    }
    return result;
}

}  // namespace

TEST(PanelLink, ReadsFramesAsNumbers) {
    const struct {
        Bytes bytes;
        int value;
    } cases[] = {
        {{0xFF, 0x06, 0x20, 0x14, 0x00, 0x39}, 0x201400},
        {{0x12, 0x34, 0xFF, 0x06, 0x20, 0x15, 0x00, 0x3A}, 0x201500},
        {{0xFF, 0x04, 0x30, 0x33}, 0x30},
        {FrontPanel::frame({0x22}), 0x22},
        {FrontPanel::frame({0x21, 1, 2, 3}), 0x21010203},
        {FrontPanel::frame({0x20, 1, 2, 3, 4, 5}), 0x02030405},
        {FrontPanel::frame({0x30, 0x80, 0, 0, 0}), static_cast<int>(0x80000000U)},
        {FrontPanel::frame(Bytes(37, 0x30)), 0x30303030},  // 40 bytes, the longest
        {FrontPanel::frame(Bytes(38, 0x30)), 0},
        {{0xFF, 0x03, 0x20, 0x22}, 0},
        {{0xFF, 0x06, 0x40, 0x14, 0x00, 0xFF, 0x06, 0x20, 0x0A, 0x00, 0x2F}, 0x200A00},
        {{0xFF, 0x06, 0xFF, 0x06, 0x20, 0x0A, 0x00, 0x2F}, 0},
        {{0xFF, 0xFF, 0x06, 0x20, 0x0A, 0x00, 0x2F}, 0},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(valueOf(row.bytes), row.value) << vboard::hexText(row.bytes.data(), row.bytes.size());
    }
}

TEST(PanelLink, NoDamagedByteAndNoMissingByteMakesAKeyEvent) {
    for (const std::string key : {"UP", "DOWN", "MENU"}) {
        const Bytes frame = FrontPanel::keyFrame(key);
        for (std::size_t place = 0; place < frame.size(); ++place) {
            EXPECT_EQ(valueOf(Bytes(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(place))), 0);
            for (int change = 1; change < 256; ++change) {
                Bytes damaged = frame;
                damaged[place] = static_cast<std::uint8_t>(damaged[place] ^ change);
                ASSERT_EQ(valueOf(damaged), 0) << key << " " << vboard::hexText(damaged.data(), 6);
            }
        }
    }
}

TEST(PanelLink, CommandsKeepTheirLastArgument) {
    for (int index = 0; index < panelCommandCount; ++index) {
        std::uint8_t frame[panelFrameBytes];
        int length = 0;
        BuildPanelFrame(index, frame, &length);
        const int code = index < 2 ? 1 : index == 15 ? 0x40 : index;
        const Bytes expected = {0xFE,
                                0x07,
                                0x30,
                                static_cast<std::uint8_t>(code),
                                index == 1,
                                0x00,
                                static_cast<std::uint8_t>(0x35 + code + (index == 1 ? 1 : 0))};
        EXPECT_EQ(Bytes(frame, frame + length), expected) << index;
    }
    EXPECT_EQ(SendPanelCommand4(4), 1);  // no port is open: nothing is sent, the argument stays
    EXPECT_EQ(PanelCommandTable[4].payload[3], 4);
}

// The query's last byte reaches the panel seven bytes after the tool starts to wait.
TEST(PanelLink, AnswersJustBeforeAndJustAfterTheLimit) {
    const Time byte = SerialLine::otherEndCharacterTime;
    const Time limit = 10s - 7 * byte;  // counted from the query's last byte, for an answer's last byte
    const Time margin = 1ms;
    const Bytes keyReply = FrontPanel::frame({0x21, 0x00, 0x01});
    for (const bool writesBack : {true, false}) {
        for (const Bytes& answer : {plainAnswer, keyReply}) {
            const Time sent = limit - byte * static_cast<int>(answer.size());
            EXPECT_NE(framesAfterAnswer({{sent - margin, answer}}, writesBack), query);
            EXPECT_EQ(framesAfterAnswer({{sent + margin, answer}}, writesBack), query);
        }
        // Each byte well within 10 s of the one before, the last one just in time and just too late.
        vboard::Run run;
        EXPECT_NE(framesAfterAnswer(pieces(plainAnswer, {3s, 6s, 9s, limit - byte - margin}), writesBack),
                  query);
        EXPECT_EQ(
            framesAfterAnswer(pieces(plainAnswer, {3s, 6s, 9s, limit - byte + margin}), writesBack, &run),
            query);
        EXPECT_NEAR(static_cast<double>((run.elapsed - run.requests("write").at(0).at).count()), 10e9, 1e6);
        // Bytes before the start byte and frames of an unknown type start the time anew.
        EXPECT_NE(framesAfterAnswer({{9s, {0x00}}, {18s, {0x12, 0x34}}, {27s, plainAnswer}}, writesBack),
                  query);
        EXPECT_NE(framesAfterAnswer({{9s, {0xFF, 0x06, 0x40}}, {18s, plainAnswer}}, writesBack), query);
        EXPECT_EQ(framesAfterAnswer(pieces(plainAnswer, {9s, 9500ms, 9900ms, 10100ms}), writesBack), query);
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
    board.settings.faults = {{"read", "/dev/ttyS3", 5}, {"read", "/dev/ttyS3", 6}};  // past the answer's four
    board.panel.press({"UP", "DOWN", "MENU"}, 3s);
    expectCleanEnd(board, board.run({"-o", "3"}));
    EXPECT_EQ(board.panel.frameTexts(), std::string(startFrames) + green + red);

    board.settings.faults.clear();
    board.settings.timeLimit = 1min;
    board.panel.hangsUpAfter = 4s;  // after UP
    expectCleanEnd(board, board.run({"-o", "3"}));
    EXPECT_EQ(board.panel.frameTexts(), std::string(startFrames) + green);
}

TEST(PanelTest, TwentyRepetitionsUseOneDescriptor) {
    VirtualBoard board = VirtualBoard::healthy();
    board.panel.press({"MENU"}, 3s);
    const vboard::Run run = board.run({"-o", "3", "20"});
    expectCleanEnd(board, run);
    const std::vector<vboard::TraceEntry> opens = run.requests("open", "/dev/ttyS3");
    EXPECT_EQ(opens.size(), 20U);
    for (const vboard::TraceEntry& open : opens) {
        EXPECT_EQ(open.result, opens.front().result);
    }
    EXPECT_EQ(run.requests("close", "/dev/ttyS3").size(), 20U);
    EXPECT_EQ(run.requests("pthread_create").size(), 21U);
    EXPECT_THAT(run.console(), testing::HasSubstr("\n第20次测试\n"));
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
        const vboard::Run run = runModule(board, {"panelTestAndReuse"});
        EXPECT_EQ(run.openAtEnd, std::vector<std::string>{"/dev/zorio"});
        EXPECT_EQ(run.requests("open", "/dev/zorio").at(0).result,
                  run.requests("open", "/dev/ttyS3").at(0).result);
        expectHeartbeatsOnOpenPort(board, run);
    }
}

TEST(PanelTest, NoStartMessageEntersThePipe) {
    VirtualBoard board("panel");
    const vboard::Run run = runModule(board, {"pipe=1", "panelTestAndReuse"});
    EXPECT_EQ(run.console() + joined(run.records()), "");
    EXPECT_FALSE(run.requests("write", "/dev/ttyS3").empty());
}

TEST(PanelTest, AFullRunSendsNothingToThePanel) {
    VirtualBoard board = VirtualBoard::healthy();
    const vboard::Run run = board.run(vboard::defaultToolCommand());
    EXPECT_GT(run.elapsed, 22s);
    EXPECT_EQ(run.requests("pthread_create").size(), 1U);
    expectHeartbeatsOnOpenPort(board, run);
    EXPECT_TRUE(board.panel.frames.empty());
}

TEST(PanelTest, KeepsTheCharacterFormatOfThePort) {
    VirtualBoard board = VirtualBoard::healthy();
    board.panel.line.attributes.c_cflag |= CRTSCTS;
    board.panel.line.attributes.c_cflag &= ~static_cast<tcflag_t>(CREAD | CLOCAL);
    (void)cfsetospeed(&board.panel.line.attributes, B115200);
    const vboard::Run run = board.run({"-o", "3"});
    expectCleanEnd(board, run);
    EXPECT_EQ(run.requests("tcflush", "/dev/ttyS3").size(), 1U);  // what came before the test is no answer
    EXPECT_EQ(board.panel.line.attributes.c_cflag & (CSIZE | PARENB | CRTSCTS), CS8 | CRTSCTS);
    EXPECT_EQ(board.panel.frameTexts(), std::string(startFrames) + green + red);
}
