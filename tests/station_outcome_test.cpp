// What a run's lines mean where no scenario of the virtual board says them: outcomes per item and for the
// unit.

#include <regex>

#include "station/interpret/run_interpreter.h"
#include "station/interpret/verdict.h"
#include "tests/station_bench.h"

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
    const Change almostARule = {"485测试成功", "\n", std::string(63, '-') + "\n485测试成功\n"};
    const struct {
        const char* what;
        Change change;
        const char* console;
        ItemIndex item;
        Outcome outcome;
    } cases[] = {
        {"CPLD fails", {"CPLD   ", "SATA口 ", "CPLD       : 失败  \n"}, "", cpldItem, failed},
        {"card not read", {"网络连接", "全双工", "ETHTOOL_GLINK failed: \n"}, "", networkItem, incomplete},
        {"speed line lost", {"全双工", "网卡2"}, "", networkItem, incomplete},
        {"speed not known", {"1000M", "网卡2", "net speed error\n"}, "", networkItem, incomplete},
        {"slow link", {"1000M", "网卡2", "100M\n"}, "", networkItem, failed},
        {"card lost", {"网卡1", "网卡2"}, "", networkItem, incomplete},
        {"card twice", {"网卡2", "网络", "网卡1:"}, "", networkItem, incomplete},
        {"no number of a card", {"网卡1", "网络", "网卡x:"}, "", networkItem, incomplete},
        {"no number of alarm inputs", {"报警输入有", "\n", "报警输入有?"}, "", alarmItem, incomplete},
        {"no number of checks", {"成功 5", "\n", "成功 5, 失败 x\n"}, "", alarmItem, incomplete},
        {"alarm checked nothing", {"成功 5", "\n", "成功 0, 失败 0\n"}, "", alarmItem, failed},
        {"no time", {"2009-04-03 08:00:18", "第4步", "2009-04-03 08:00\n"}, "", clockItem, incomplete},
        {"half a time more",
         {"2009-04-03 08:00:18", "第4步", "2009-04-03 08:00:18\n2009-04-03 08:00:18?\n"},
         "",
         clockItem,
         incomplete},
        {"no free space", {"/dev/msa1", "/dev/msb1", "/dev/msa1 剩余空间 = M\n"}, "", usbItem, incomplete},
        {"USB not counted", {"USB口  ", "网络状态  ", "SATA口      : 5  \n"}, "", usbItem, failed},
        {"USB ports not known", {"USB个数", "面板", "USB个数:?\n"}, "", usbItem, incomplete},
        {"no serial number", {"\n序列号", "\n型号"}, "", sataItem, incomplete},
        {"no model", {"\n型号", "\n固件版本"}, "", sataItem, incomplete},
        {"no firmware revision", {"\n固件版本", "硬盘容量", "\n"}, "", sataItem, incomplete},
        {"no capacity", {"硬盘容量", "/dev/sdb", "/dev/sda 无法获取硬盘容量\n"}, "", sataItem, incomplete},
        {"capacity without a number", {"硬盘容量", "/dev/sdb", "硬盘容量  :GB\n"}, "", sataItem, incomplete},
        {"drive not there", {"/dev/sdc", "/dev/sdd", "/dev/sdc 不存在\n"}, "", sataItem, failed},
        {"drive lost", {"/dev/sdd", "/dev/esda"}, "", sataItem, incomplete},
        {"drives not counted", {"USB口  ", "网络状态  ", "USB口       : 3  \n"}, "", sataItem, incomplete},
        {"trial failed", unchanged, "RS485测试成功次数为 2，错误次数为 1", rs485Item, failed},
        {"no summary yet", almostARule, "", rs485Item, passed},
        {"no network step", {"第2步", "报警输入有"}, "", networkItem, skipped},
        {"no socket", {"网卡1:", "报警输入有"}, "creat socket error", networkItem, failed},
        {"no alarm test", noAlarmTest, "", alarmItem, skipped},
        {"alarm device closed", noAlarmTest, "open /dev/iop failed", alarmItem, failed},
        {"alarm input not read", {"\n 断开", "成功 5", "IOCTL ERROR\n"}, "", alarmItem, failed},
        {"alarm test broke off", {"\n 断开", "第3步"}, "", alarmItem, failed},
        {"alarm check failed", {"\n 断开", "第3步", "成功 4, 失败 1\n"}, "", alarmItem, failed},
        {"link down", {"网卡2", "报警输入有", "网卡2:网络连接断开 \n"}, "", networkItem, failed},
        {"USB device missing",
         {"USB口  ", "网络状态  ", "USB口       : 2  \nSATA口      : 5  \n"},
         "",
         usbItem,
         failed},
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
        {"clock pair missing", {"2009-04-03 08:00:18", "第4步"}, "", clockItem, incomplete},
    };
    for (const auto& [what, change, console, item, outcome] : cases) {
        const TestRun run = interpret(change, console);
        EXPECT_EQ(outcomeName(run.items[item].outcome), outcomeName(outcome)) << what;
        EXPECT_EQ(outcomeName(run.outcome), outcomeName(outcome == skipped ? passed : outcome)) << what;
        for (std::size_t other = 0; other < itemCount; ++other) {
            EXPECT_TRUE(other == item || !run.has(other) || run.items[other].outcome == passed)
                << what << ", item " << other;
        }
    }
}

// What comes from a newer tool than this station, or from a broken one, is no pass.
TEST(StationOutcome, unknownTextIsIncompleteAndNamed) {
    const std::string clockLine = "Rtc时钟       : 由检测人员判断  \n";
    const struct {
        Change change;
        const char* text;
    } cases[] = {
        {{"Rtc时钟", "-----", clockLine + "传感器     : 失败  \n"}, "传感器     : 失败"},
        {{"Rtc时钟", "-----", clockLine + "传感器正常\n"}, "传感器正常"},
        {{"Rtc时钟", "-----", clockLine + "芯片温度未知: 40 \n"}, "芯片温度未知: 40"},
        {{"Rtc时钟", "-----", clockLine + "芯片温度正常: x \n"}, "芯片温度正常: x"},
        {{"Rtc时钟", "-----", clockLine + "芯片温度正常: 40 ? \n"}, "芯片温度正常: 40 ?"},
        {{"Rtc时钟", "-----", clockLine + "芯片温度: 成功  \n"}, "芯片温度: 成功"},
        {{"CPLD   ", "SATA口 ", "CPLD       : 成功?  \nCPLD       : 成功  \n"}, "CPLD       : 成功?"},
        {{"485口", "报警口", "485口       : 3  \n485口       : 成功  \n"}, "485口       : 3"},
        {{"485口", "报警口", "485口       : 由检测人员判断  \n485口       : 成功  \n"},
         "485口       : 由检测人员判断"},
        {{"-----", "USB口  ", "第8步:传感器测试\n" + std::string(64, '-') + "\n"}, "step 8 传感器测试"},
    };
    for (const auto& [change, text] : cases) {
        const TestRun run = interpret(change);
        EXPECT_EQ(run.outcome, Outcome::incomplete) << text;
        EXPECT_THAT(run.reasons, testing::ElementsAre(std::string("not known to this station: ") + text));
    }
}

TEST(StationOutcome, recordThatTheToolLostIsIncomplete) {
    const TestRun run = interpret({}, "xxwrite error file = nic ,line = 5 write error file = r8 ,line = 1 ");
    EXPECT_EQ(run.outcome, Outcome::incomplete);
    EXPECT_THAT(run.reasons, testing::ElementsAre("records that the tool could not write: 2"));
}

TEST(StationOutcome, failedStaysFailedWhateverComesBehind) {
    const TestRun run = interpret({"485口", "报警口", "485口       : 失败  \n485口       : 成功  \n"});
    EXPECT_EQ(run.items[rs485Item].outcome, Outcome::failed);
    // But a run that is not whole proves nothing.
    EXPECT_EQ(interpret({"网络状态  ", "485口"}, "open /dev/iop failed").outcome, Outcome::incomplete);
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
    EXPECT_EQ(std::get<chipTemperatureItem>(run.measured).celsius, 70);
    EXPECT_EQ(run.outcome, Outcome::failed);
    run = interpret({"Rtc时钟", "-----", "芯片温度正常: -4 \n" + clockLine});
    EXPECT_EQ(std::get<chipTemperatureItem>(run.measured).celsius, -4);
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
