// The alarm test as the operator, the fixture and the supervising process see it.

#include <csignal>

#include "tests/tool_runs.h"

using namespace std::chrono_literals;
using testing::EndsWith;
using vboard::Run;
using vboard::VirtualBoard;

namespace {

const std::string cardLine = "设备网卡个数(2)\n";
const std::string offPassed = "\n 断开报警输出时, 报警输入正常\n";
using Wiring = std::vector<std::vector<unsigned>>;
const Wiring two = {{1, 3}, {2, 4}};
const Wiring four = {{1, 5, 9, 13}, {2, 6, 10, 14}, {3, 7, 11, 15}, {4, 8, 12, 16}};
const Wiring swapped = {four[1], four[0], four[2], four[3]};

std::string counts(unsigned inputs, unsigned outputs) {
    return "报警输入有" + std::to_string(inputs) + "个,报警输出有" + std::to_string(outputs) + "个\n";
}

std::string offError(const std::string& inputs) {
    return "\n 断开报警输出时, 报警输入为 " + inputs + " ，报警输入应为 0\n";
}

std::string onError(const std::string& outputs, const std::string& inputs, const std::string& expected) {
    return "\n 报警输出为 " + outputs + ", 报警输入为 " + inputs + " ，报警输入应为 " + expected + "\n";
}

std::string verdict4(const std::string& numbers) {
    return "\n 报警输出为 1，报警输入(1-4), " + numbers + "\n";
}

void setLines(VirtualBoard& board, unsigned inputs, unsigned outputs, const Wiring& wiring) {
    board.control.setCpld(cpld.alarmInCount, inputs);
    board.control.setCpld(cpld.alarmOutCount, outputs);
    board.alarm.wiring = wiring;
}

std::vector<unsigned> outputPatterns(const Run& run) {
    std::vector<unsigned> patterns;
    for (const vboard::TraceEntry& entry : run.requests("ZORIO_SET_ALARM_OUT")) {
        patterns.push_back(entry.data.at(0));
    }
    return patterns;
}

}  // namespace

TEST(Alarm, EveryWiringGetsItsVerdict) {
    const struct {
        unsigned inputs, outputs;
        Wiring wiring;
        std::uint16_t stuckActive, stuckInactive;
        std::string text;
        int beeps;
    } cases[] = {
        {4, 1, {{1, 2, 3, 4}}, 0, 0, verdict4("成功 2, 失败 0"), 0},
        {4, 3, {{1, 2, 3, 4}}, 0xFFF0, 0, verdict4("成功 2, 失败 0"), 0},
        {4, 1, {{1, 2, 3, 4}}, 0xFFF4, 0, offError("4") + verdict4("成功 1, 失败 1"), 0},
        {4, 1, {{1, 3, 4}}, 0, 0, onError("1", "d", "f") + verdict4("成功 1, 失败 1"), 2},
        {4, 1, {{1, 2, 3}}, 0, 0, onError("1", "7", "f") + verdict4("成功 1, 失败 1"), 2},
        {4, 1, {}, 0xFF08, 0, offError("8") + onError("1", "8", "f") + verdict4("成功 0, 失败 2"), 2},
        {16, 4, four, 0, 0, counts(16, 4) + offPassed + "成功 5, 失败 0\n", 0},
        {16, 4, four, 0x8000, 0,
         counts(16, 4) + offError("8000") + onError("1", "9111", "1111") + onError("2", "a222", "2222") +
             onError("4", "c444", "4444") + "成功 1, 失败 4\n",
         6},
        {16, 4, four, 0, 0x8000, counts(16, 4) + offPassed + onError("8", "888", "8888") + "成功 4, 失败 1\n",
         2},
        {16, 4, swapped, 0, 0,
         counts(16, 4) + offPassed + onError("1", "2222", "1111") + onError("2", "1111", "2222") +
             "成功 3, 失败 2\n",
         4},
        {16, 2, two, 0, 0, counts(16, 2) + offPassed + "成功 3, 失败 0\n", 0},
        {16, 2, two, 0xFFF0, 0, counts(16, 2) + offError("fff0") + "成功 2, 失败 1\n", 0},
        {16,
         2,
         {two[1], {}},
         0,
         0,
         counts(16, 2) + offPassed + onError("1", "a", "5") + onError("2", "0", "a") + "成功 1, 失败 2\n",
         4},
        {4, 0, four, 0, 0, "设备没有报警输入或输出接口\n", 0},
        {16, 0, four, 0, 0, "设备没有报警输入或输出接口\n", 0},
        {0, 4, four, 0xFFFF, 0, "", 0},
        {8, 4, four, 0xFFFF, 0, "", 0},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.text);
        VirtualBoard board = VirtualBoard::healthy();
        setLines(board, row.inputs, row.outputs, row.wiring);
        board.alarm.stuckActive = row.stuckActive;
        board.alarm.stuckInactive = row.stuckInactive;
        const auto run = board.run({"-o", "5", "2"});  // each repetition counts for itself
        EXPECT_EQ(run.console(), cardLine + "\n第1次测试\n" + row.text + "\n第2次测试\n" + row.text);
        EXPECT_EQ(run.beeps(), 2 * row.beeps);
        EXPECT_THAT(run.openAtEnd, testing::IsEmpty());
    }
}

TEST(Alarm, AFailureIsNotForgottenByALaterRun) {
    VirtualBoard board = VirtualBoard::healthy();
    for (const char* inputs : {"alarmInCount=4", "alarmInCount=16"}) {
        board.alarm.wiring = *(inputs + 13) == '4' ? Wiring{{1, 2, 3, 4}} : four;
        EXPECT_THAT(runModule(board, {inputs, "alarmOutCount=4", "alarmFailed=1", "iopTest", "printSummary"})
                        .console(),
                    testing::HasSubstr("报警口      : error occured!  \n"));
    }
}

TEST(Alarm, InputsAreReadWhenTheyHaveSettledAndTheLastOutputStaysOn) {
    const struct {
        unsigned inputs;
        Wiring wiring;
        vboard::Time settling;
        std::vector<unsigned> patterns;
    } cases[] = {{4, {{1, 2, 3, 4}}, 5s, {0, 1}}, {16, four, 2s, {0, 1, 2, 4, 8}}};
    for (const auto& row : cases) {
        VirtualBoard board = VirtualBoard::healthy();
        setLines(board, row.inputs, 4, row.wiring);
        const auto run = board.run({"-o", "5"});
        const auto started = run.requests("ZORIO_ALARM_INIT");
        ASSERT_EQ(started.size(), 1U);
        EXPECT_EQ(started[0].data, std::vector<std::uint8_t>(4, 0));
        EXPECT_EQ(outputPatterns(run), row.patterns);
        EXPECT_EQ(board.alarm.outputs, row.patterns.back());
        const auto sets = run.requests("ZORIO_SET_ALARM_OUT");
        const auto reads = run.requests("ZORIO_GET_ALARM_IN");
        ASSERT_EQ(reads.size(), sets.size());
        for (std::size_t i = 0; i < sets.size(); ++i) {
            EXPECT_GE(reads[i].at - sets[i].at, row.settling);
            EXPECT_LT(reads[i].at - sets[i].at, row.settling + 1ms);
        }
    }
}

TEST(Alarm, AFailedReadIsJudgedByTheInputsReadBefore) {
    const struct {
        unsigned inputs, nth;
        bool fromThenOn;
        std::string text;
    } cases[] = {
        {4, 1, false, "IOCTL ERROR\n" + verdict4("成功 2, 失败 0")},
        {4, 2, false, onError("1", "0", "f") + verdict4("成功 1, 失败 1")},  // this one fails in silence
        {16, 3, false,
         counts(16, 4) + offPassed + "IOCTL ERROR\n" + onError("2", "1111", "2222") + "成功 4, 失败 1\n"},
        {16, 1, true,
         counts(16, 4) + "IOCTL ERROR\n" + offPassed + "IOCTL ERROR\n" + onError("1", "0", "1111") +
             "IOCTL ERROR\n" + onError("2", "0", "2222") + "IOCTL ERROR\n" + onError("4", "0", "4444") +
             "IOCTL ERROR\n" + onError("8", "0", "8888") + "成功 1, 失败 4\n"},
    };
    for (const auto& row : cases) {
        VirtualBoard board = VirtualBoard::healthy();
        setLines(board, row.inputs, 4, row.inputs == 4 ? Wiring{{1, 2, 3, 4}} : four);
        board.settings.faults = {{"ZORIO_GET_ALARM_IN", "", row.nth, row.fromThenOn, EIO}};
        EXPECT_EQ(board.run({"-o", "5"}).console(), cardLine + row.text);
    }
}

TEST(Alarm, AnUnknownOutputCountStepsOnUntilInterrupted) {
    for (const unsigned outputs : {1U, 3U, 8U}) {
        VirtualBoard board = VirtualBoard::healthy();
        setLines(board, 16, outputs, {});
        board.settings.timeLimit = 30s;
        const auto endless = board.run({"-o", "5"});
        EXPECT_THAT(endless.stopReason, testing::HasSubstr("time limit"));
        EXPECT_EQ(outputPatterns(endless),
                  (std::vector<unsigned>{0, 1, 2, 4, 8, 16, 32, 64, 128, 0, 0, 0, 0, 0}));
        board.settings.interrupts = {29s};
        const auto ended = board.run({"-o", "5"});
        EXPECT_EQ(ended.signal(), SIGINT);
        EXPECT_THAT(ended.console(), EndsWith("success is 13, and error is 0\n"));
    }
}

TEST(Alarm, AnInterruptPrintsTheCountersDuringTheTestAndLaterInTheRun) {
    VirtualBoard board("faulty-alarm-swapped");
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"-o", "5"}, {}, {"netR8test"}}) {
        board.settings.interrupts.clear();
        const auto reads = board.run(arguments).requests("ZORIO_GET_ALARM_IN");
        ASSERT_EQ(reads.size(), 5U);
        const std::pair<vboard::Time, const char*> moments[] = {
            {reads[0].at - 1s, "success is 0, and error is 0\n"},
            {reads[0].at + 1s, "success is 1, and error is 0\n"},
            {reads[1].at + 500ms, "success is 1, and error is 1\n"},  // while it beeps
            {reads[4].at + 500ms, "success is 3, and error is 2\n"},  // past the test in the full run
        };
        for (const auto& [moment, line] : moments) {
            board.settings.interrupts = {moment};
            const auto run = board.run(arguments);
            if (arguments.size() == 2 && moment > reads[4].at) {
                EXPECT_EQ(run.exitStatus(), 0);  // it had ended by then
                continue;
            }
            EXPECT_EQ(run.signal(), SIGINT);
            EXPECT_THAT(run.console(), EndsWith(line));
            EXPECT_THAT(run.records(), testing::Each(testing::Not(testing::HasSubstr("success"))));
        }
    }
}

TEST(Alarm, EveryFailedRequestStillEndsInAVerdict) {
    sweepFailures(runTool, {"-o", "5"}, [](const vboard::Run&, const std::string& console) {
        const std::size_t verdict = console.find("成功 ");
        unsigned passed = 0;
        unsigned failed = 0;
        if (verdict == std::string::npos) {
            EXPECT_TRUE(count(console, "open /dev/iop failed\n") == 1 ||
                        count(console, "CPLD读取失败") == 1 || count(console, "open zorio failed !") == 1)
                << console;
            return;
        }
        EXPECT_EQ(std::sscanf(console.c_str() + verdict, "成功 %u, 失败 %u\n", &passed, &failed), 2);
        EXPECT_EQ(passed + failed, 5U);
        EXPECT_EQ(count(console, "，报警输入应为 "), static_cast<int>(failed));
    });
}
