// The full run's steps: their order and numbers, the gate, the RS485 port, buzzer and watchdog.

#include <regex>
#include <set>

#include "tests/tool_runs.h"

using namespace std::chrono_literals;
using testing::HasSubstr;
using vboard::VirtualBoard;

namespace {

// The titles of a full run's steps, in their order; their numbers have to count from 1.
std::vector<std::string> stepsOf(const vboard::Run& run) {
    const std::string text = run.records().empty() ? run.console() : joined(run.records());
    const std::regex announcement("第([0-9]+)步:\n?([^\n]*)");
    std::vector<std::string> steps;
    for (std::sregex_iterator step(text.begin(), text.end(), announcement); step != std::sregex_iterator();
         ++step) {
        steps.push_back((*step)[2]);
        EXPECT_EQ((*step)[1], std::to_string(steps.size())) << text;
    }
    return steps;
}

}  // namespace

// Which steps a full board has, and in what order, stands in the golden files.
TEST(Sequence, StepsAreNumberedOverThoseThatRun) {
    VirtualBoard full = VirtualBoard::healthy();
    const std::vector<std::string> allSteps = stepsOf(full.run(fullRun));
    for (const unsigned choice : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U}) {
        const bool gateOpen = (choice & 1) != 0;
        const bool rs485 = (choice & 2) != 0;
        const bool panel = (choice & 4) != 0;
        for (const std::vector<std::string>& arguments : {fullRun, {"netR8test"}}) {
            VirtualBoard board = VirtualBoard::healthy();
            board.control.stepGate = gateOpen ? 0 : 0x200;
            board.control.setBoardTypeCode(rs485 ? 0xA247 : 0xA248);
            board.control.setCpld(cpld.panelType, panel ? 0 : 1);
            const auto run = board.run(arguments);
            std::vector<std::string> expected;
            std::copy_if(allSteps.begin(), allSteps.end(), std::back_inserter(expected),
                         [&](const std::string& title) {
                             return (gateOpen || title != "网络状态") && (rs485 || title != "485测试");
                         });
            EXPECT_EQ(stepsOf(run), expected);
            EXPECT_EQ(expected.size(), allSteps.size() - (gateOpen ? 0 : 1) - (rs485 ? 0 : 1));
            EXPECT_EQ((run.console() + joined(run.records())).find("报警输入有") != std::string::npos,
                      gateOpen);
            EXPECT_EQ(run.requests("pthread_create").size(), panel ? 1U : 0U);
            EXPECT_EQ(run.exitStatus(), 0);
        }
    }
}

TEST(Sequence, AFailedQueryLeavesTheRs485PortAndTheGateClosed) {
    VirtualBoard board = VirtualBoard::healthy();
    board.control.setBoardTypeCode(0);
    board.settings.faults = {{"ZORIO_GET_BOOT_PARMS", "", 1, true}};
    const std::string console = board.run(fullRun).console();
    EXPECT_THAT(
        console,
        HasSubstr("\nioctl ZORIO_GET_BOOT_PARMS error\nioctl ZORIO_GET_BOOT_PARMS error\n第2步:开始"));
    EXPECT_THAT(console, HasSubstr("485测试\n"));
    loadHealthyWith(board, "[control.answers]\nZORIO_GET_STEP_GATE = '00 00 00 01'");
    board.settings.faults = {};
    EXPECT_THAT(board.run(fullRun).console(), HasSubstr("第2步:开始测试RTC\n"));
    board.settings.faults = {{"ZORIO_GET_STEP_GATE", "", 1, true}};  // one that can't be read is open
    EXPECT_THAT(board.run(fullRun).console(), HasSubstr("第2步:网络状态\n"));
}

TEST(Sequence, OnlyEightBoardTypesHaveAnRs485Port) {
    const std::set<int> with = {0xA197, 0xA207, 0xA19F, 0xA20F, 0xA1AF, 0xA21F, 0xA25F, 0xA247};
    for (const int code : with) {
        for (const int tried : {code, code ^ 1, code ^ 0x8000}) {
            VirtualBoard board = VirtualBoard::healthy();
            board.control.stepGate = 1;
            board.control.setBoardTypeCode(static_cast<std::uint16_t>(tried));
            EXPECT_EQ(board.run(fullRun).console().find("485测试\n") != std::string::npos,
                      with.count(tried) != 0)
                << std::hex << tried;
        }
    }
}

TEST(Sequence, EnterCutsThePausesShort) {
    VirtualBoard patient = VirtualBoard::healthy();
    const auto full = patient.run(fullRun).elapsed;
    VirtualBoard closed = VirtualBoard::healthy();
    closed.operatorInput.closed = true;
    EXPECT_EQ((full - closed.run(fullRun).elapsed + 500ms) / 1s, 5);  // five pauses of a second
    for (const std::size_t length : {1U, 20U, 21U}) {                 // 20 bytes are read at a time
        VirtualBoard hasty = VirtualBoard::healthy();
        hasty.operatorInput.types = {{1s, std::string(length - 1, 'y') + "\n"}};
        EXPECT_EQ((full - hasty.run(fullRun).elapsed + 500ms) / 1s, length > 20 ? 2 : 1) << length;
    }
}

TEST(Buzzer, SoundsAndFallsSilentEvery200Milliseconds) {
    VirtualBoard board = VirtualBoard::healthy();
    board.settings.requestCost = vboard::Time(0);
    const std::vector<std::string> twoBeeps = {
        "0.000 open O_RDWR",         "0.000 ZORIO_SET_BUZZER 01", "0.200 ZORIO_SET_BUZZER 00",
        "0.400 ZORIO_SET_BUZZER 01", "0.600 ZORIO_SET_BUZZER 00", "0.800 close",
    };
    EXPECT_EQ(sequence(runModule(board, {"beep", "2"}), "/dev/zorio"), twoBeeps);
    for (const char* none : {"0", "-1"}) {
        EXPECT_TRUE(sequence(runModule(board, {"beep", none}), "/dev/zorio").empty());
    }
    board.control.present = false;
    EXPECT_EQ(runModule(board, {"beep", "1"}).console(), "open hwInfo error!\n");
}

TEST(Watchdog, Test9ShortensTheTimeoutAndSaysWhatFailed) {
    VirtualBoard board = VirtualBoard::healthy();
    const auto run = board.run({"-o", "9"});
    EXPECT_EQ(run.console(), "设备网卡个数(2)\n");
    EXPECT_EQ(board.control.watchdogTimeout, 5U);

    board.settings.faults = {{"ZORIO_SET_WDT_TIMEOUT", "", 2}};
    EXPECT_EQ(board.run({"-o", "9"}).console(), "设备网卡个数(2)\nset watchdog timeout failed\n");
    board.settings.faults = {{"open", "/dev/zorio", 3}};
    const auto missing = board.run({"-o", "9"});
    EXPECT_EQ(missing.console(), "设备网卡个数(2)\nfailed to open watchdog\nset watchdog timeout failed\n");
    EXPECT_EQ(missing.exitStatus(), 0);
}
