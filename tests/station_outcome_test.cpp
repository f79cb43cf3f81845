// What a run's lines mean where no scenario of the virtual board says them: outcomes per item and for the
// unit.

#include <regex>

#include "run_interpreter.h"
#include "station_bench.h"
#include "verdict.h"

using namespace station;
using namespace station_test;

namespace {

// The steps that are left count from 1, as on a board that does not have the others.
std::vector<std::string> renumbered(std::vector<std::string> texts) {
    const std::regex stepNumber("^第[0-9]步");
    int step = 0;
    for (std::string& text : texts) {
        if (std::regex_search(text, stepNumber)) {
            text = std::regex_replace(text, stepNumber, "第" + std::to_string(++step) + "步");
        }
    }
    return texts;
}

TestRun interpret(const Change& change, const std::string& consoleLine = "",
                  const ToolEnd& end = {.exitStatus = 0}) {
    RunInterpreter interpreter;
    interpreter.console(0, consoleLine);
    double at = 0;
    for (const std::string& text : renumbered(changedTexts(change))) {
        interpreter.record(at += 0.5, text);
    }
    interpreter.finish(at, end, false);
    judgeClock(interpreter.run, ClockJudge::automatic, {});
    return interpreter.run;
}

TEST(StationOutcome, followsTheLines) {
    using enum Outcome;
    const Change unchanged;
    const std::string noUsb =
        "USB个数:0\n" + std::string(64, '-') + "\nUSB口       : 0  \nSATA口      : 5  \n";
    const Change clockTimeLost = {"2009-04-03 08:00:16", "2009-04-03 08:00:17", "2009-04-03 08:00:10\n"};
    const Change noAlarmTest = {"报警输入有", "第3步"};
    const struct {
        const char* what;
        Change change;
        const char* console;
        ItemIndex item;
        Outcome outcome;
    } cases[] = {
        {"CPLD fails", {"CPLD   ", "SATA口 ", "CPLD       : 失败  \n"}, "", cpldItem, failed},
        {"no network step", {"第2步", "报警输入有"}, "", networkItem, skipped},
        {"no socket", {"网卡1:", "报警输入有"}, "creat socket error", networkItem, failed},
        {"no alarm test", noAlarmTest, "", alarmItem, skipped},
        {"alarm device closed", noAlarmTest, "open /dev/iop failed", alarmItem, failed},
        {"alarm input not read", {"\n 断开", "成功 5", "IOCTL ERROR\n"}, "", alarmItem, failed},
        {"alarm test broke off", {"\n 断开", "第3步"}, "", alarmItem, failed},
        {"alarm check failed", {"\n 断开", "第3步", "成功 4, 失败 1\n"}, "", alarmItem, failed},
        {"link down", {"网卡2", "报警输入有", "网卡2:网络连接断开 \n"}, "", networkItem, failed},
        {"USB device missing", {"USB口  ", "网络状态  ", "USB口       : 2  \n"}, "", usbItem, failed},
        {"boot parameters not read", unchanged, "ioctl ZORIO_GET_BOOT_PARMS error", cpldItem, failed},
        {"description not read at first", unchanged, "CPLD读取失败,Input", cpldItem, failed},
        {"clock time lost", clockTimeLost, "", clockItem, incomplete},
        {"no USB ports", {"USB个数", "网络状态  ", noUsb}, "", usbItem, skipped},
        {"no drive ports", {"设备有4个", "第6步", "设备有0个sata口\n"}, "", sataItem, skipped},
        {"no RS485 step", {"第6步", "第7步"}, "", rs485Item, skipped},
        {"line and summary disagree", {"485测试成功", "第7步", "485测试失败\n"}, "", rs485Item, failed},
        {"no description", {"=====", "-----"}, "", cpldItem, failed},
        {"description in error", {"硬盘接口", "SATA PM", "CPLD 信息错误\n"}, "", cpldItem, failed},
        {"no clock step", {"第3步", "第4步"}, "", clockItem, incomplete},
        {"no USB step", {"第4步", "第5步"}, "write error file = r8 ,line = 2 ", usbItem, incomplete},
        {"verdict missing", {"报警口", "USB口  "}, "", alarmItem, incomplete},
        {"step lost?", {"第6步", "第7步"}, "xxwrite error file = r8 ,line = 2 ", rs485Item, incomplete},
        {"lines lost elsewhere", unchanged, "write error file = nic ,line = 5 ", networkItem, passed},
        {"clock pair missing", {"2009-04-03 08:00:18", "第4步"}, "", clockItem, incomplete},
    };
    for (const auto& [what, change, console, item, outcome] : cases) {
        const TestRun run = interpret(change, console);
        EXPECT_EQ(outcomeName(run.items[item].outcome), outcomeName(outcome)) << what;
        EXPECT_EQ(outcomeName(run.outcome), outcomeName(outcome == skipped ? passed : outcome)) << what;
        for (size_t other = 0; other < itemCount; ++other) {
            EXPECT_TRUE(other == item || !run.has(other) || run.items[other].outcome == passed)
                << what << ", item " << other;
        }
    }
}

TEST(StationOutcome, holeInTheStepNumbersIsIncomplete) {
    for (const auto& [from, until] : {std::pair("第1步", "第2步"), {"第2步", "第3步"}, {"第6步", "第7步"}}) {
        RunInterpreter interpreter;
        for (const std::string& text : changedTexts({from, until})) {
            interpreter.record(1, text);
        }
        interpreter.finish(2, {.exitStatus = 0}, false);
        EXPECT_EQ(interpreter.run.reasons.size(), 1u) << from;
        EXPECT_EQ(interpreter.run.outcome, Outcome::incomplete) << from;
    }
}

TEST(StationOutcome, chipTemperatureCountsWhereItIsChecked) {
    const std::string clockLine = "Rtc时钟       : 由检测人员判断  \n";
    TestRun run = interpret({"Rtc时钟", "-----", "芯片温度异常: 70 \n" + clockLine});
    EXPECT_EQ(run.items[chipTemperatureItem].measured["celsius"], 70);
    EXPECT_EQ(run.outcome, Outcome::failed);
    run = interpret({"Rtc时钟", "-----", "芯片温度正常: -4 \n" + clockLine});
    EXPECT_EQ(run.items[chipTemperatureItem].measured["celsius"], -4);
    EXPECT_EQ(run.outcome, Outcome::passed);
}

TEST(StationOutcome, badEndOfTheToolIsIncompleteWhateverTheItemsSay) {
    const ToolEnd ends[] = {{.exitStatus = 1},
                            {.exitStatus = {}, .signal = 9},
                            {.exitStatus = 0, .timedOut = true},
                            {.exitStatus = 0, .interrupted = true}};
    for (const ToolEnd& end : ends) {
        const TestRun run = interpret({"485口", "报警口", "485口       : 失败  \n"}, "", end);
        EXPECT_EQ(run.outcome, Outcome::incomplete);
        EXPECT_EQ(run.items[rs485Item].outcome, Outcome::failed);
        EXPECT_EQ(run.reasons.size(), 1u);
    }
}

TEST(StationOutcome, stepsHaveTheirNamesTitlesAndLines) {
    const TestRun run = interpret({});
    std::vector<std::string> steps;
    for (const Step& step : run.steps) {
        steps.push_back(std::to_string(step.number) + " " + step.name + " " + step.title);
    }
    EXPECT_THAT(steps, testing::ElementsAre("0 preparation ", "1 buzzer 蜂鸣器测试", "2 network 网络状态",
                                            "0 alarm 报警口", "3 clock 开始测试RTC", "4 usb USB口测试",
                                            "5 sata SATA硬盘测试", "6 rs485 485测试", "7 cpld CPLD信息",
                                            "0 summary R8测试结果"));
    EXPECT_EQ(run.steps[2].lines[2].text, "全双工  1000M");
    EXPECT_DOUBLE_EQ(run.steps[1].start, 0.5);  // announced before its line is complete
}

}  // namespace
