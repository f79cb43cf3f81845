// What a run's lines mean where no scenario of the virtual board says them: outcomes per item and for the
// unit.

#include <regex>

#include "station/interpret/items.h"
#include "station/interpret/run_interpreter.h"
#include "station/interpret/verdict.h"
#include "tests/station_bench.h"

using namespace station;
using namespace station_test;

namespace {

// The steps that are left count from 1, as on a board that does not have the others.
std::vector<std::string> renumbered(std::vector<std::string> texts) {
    const std::regex stepNumber("^第[0-9]+步");
    int step = 0;
    for (std::string& text : texts) {
        if (std::regex_search(text, stepNumber)) {
            text = std::regex_replace(text, stepNumber, "第" + std::to_string(++step) + "步");
        }
    }
    return texts;
}

TestRun interpret(const std::vector<std::string>& texts, const std::string& consoleLine = "",
                  const ToolEnd& end = {.exitStatus = 0}) {
    RunInterpreter interpreter;
    interpreter.console(0, consoleLine);
    double at = 0;
    for (const std::string& text : renumbered(texts)) {
        interpreter.record(at += 0.5, text);
    }
    interpreter.finish(at, end, false);
    judgeClock(interpreter.run, ClockJudge::automatic, {});
    return interpreter.run;
}

TestRun interpret(const Change& change, const std::string& consoleLine = "",
                  const ToolEnd& end = {.exitStatus = 0}) {
    return interpret(changedTexts(change), consoleLine, end);
}

TEST(StationOutcome, followsTheLines) {
    using enum Outcome;
    const Change unchanged;
    const Change clockTimeLost = {"2009-04-03 08:00:16", "2009-04-03 08:00:17", "2009-04-03 08:00:10\n"};
    const Change noAlarmTest = {"报警输入有", "步:"};
    const Change almostARule = {"485测试成功", "", std::string(63, '-') + "\n485测试成功\n"};
    const struct {
        const char* what;
        Change change;
        const char* console;
        const ItemRow* item;
        Outcome outcome;
    } cases[] = {
        {"CPLD fails", {"CPLD   ", "", "CPLD       : 失败  \n"}, "", &BoardDescription::row, failed},
        {"card not read", {"网络连接", "全双工", "ETHTOOL_GLINK failed: \n"}, "", &Network::row, incomplete},
        {"speed line lost", {"全双工", "网卡2"}, "", &Network::row, incomplete},
        {"speed not known", {"1000M", "网卡2", "net speed error\n"}, "", &Network::row, incomplete},
        {"slow link", {"1000M", "网卡2", "100M\n"}, "", &Network::row, failed},
        {"card lost", {"网卡1", "网卡2"}, "", &Network::row, incomplete},
        {"card twice", {"网卡2", "网络", "网卡1:"}, "", &Network::row, incomplete},
        {"no number of a card", {"网卡1", "网络", "网卡x:"}, "", &Network::row, incomplete},
        {"no number of alarm inputs", {"报警输入有", "\n", "报警输入有?"}, "", &Alarm::row, incomplete},
        {"no number of checks", {"成功 5", "\n", "成功 5, 失败 x\n"}, "", &Alarm::row, incomplete},
        {"alarm checked nothing", {"成功 5", "\n", "成功 0, 失败 0\n"}, "", &Alarm::row, failed},
        {"no time", {"2009-04-03 08:00:18", "步:", "2009-04-03 08:00\n"}, "", &ClockTimes::row, incomplete},
        {"more than a time",
         {"2009-04-03 08:00:18", "", "2009-04-03 08:00:18?\n"},
         "",
         &ClockTimes::row,
         incomplete},
        {"no free space", {"/dev/msa1", "/dev/msb1", "/dev/msa1 剩余空间 = M\n"}, "", &Usb::row, incomplete},
        {"USB not counted", {"USB口  ", "网络状态  ", "SATA口      : 5  \n"}, "", &Usb::row, failed},
        {"USB ports not known", {"USB个数", "面板", "USB个数:?\n"}, "", &Usb::row, incomplete},
        {"no serial number", {"\n序列号", "\n型号"}, "", &Sata::row, incomplete},
        {"no model", {"\n型号", "\n固件版本"}, "", &Sata::row, incomplete},
        {"no firmware revision", {"\n固件版本"}, "", &Sata::row, incomplete},
        {"no capacity", {"硬盘容量", "/dev/sdb", "/dev/sda 无法获取硬盘容量\n"}, "", &Sata::row, incomplete},
        {"capacity without a number",
         {"硬盘容量", "/dev/sdb", "硬盘容量  :GB\n"},
         "",
         &Sata::row,
         incomplete},
        {"drive not there", {"/dev/sdc", "/dev/sdd", "/dev/sdc 不存在\n"}, "", &Sata::row, failed},
        {"port without a line", {"设备有4个", "", "设备有6个sata口\n"}, "", &Sata::row, incomplete},
        {"second of two drives not there",
         {"设备有4个", "", "设备有2个sata口\n/dev/sdf 不存在\n"},
         "",
         &Sata::row,
         failed},
        {"second drive not chosen",
         {"设备有4个", "", "设备有1个sata口\n/dev/sdf 不存在\n"},
         "",
         &Sata::row,
         passed},
        {"drive lost", {"/dev/sdd", "/dev/esda"}, "", &Sata::row, incomplete},
        {"drives not counted", {"USB口  ", "网络状态  ", "USB口       : 3  \n"}, "", &Sata::row, incomplete},
        {"trial failed", unchanged, "RS485测试成功次数为 2，错误次数为 1", &Rs485::row, failed},
        {"no summary yet", almostARule, "", &Rs485::row, passed},
        {"no network step", {"步:网络状态", "报警输入有"}, "", &Network::row, skipped},
        {"no socket", {"网卡1:", "报警输入有"}, "creat socket error", &Network::row, failed},
        {"no alarm test", noAlarmTest, "", &Alarm::row, skipped},
        {"alarm device closed", noAlarmTest, "open /dev/iop failed", &Alarm::row, failed},
        {"alarm input not read", {"\n 断开", "成功 5", "IOCTL ERROR\n"}, "", &Alarm::row, failed},
        {"alarm test broke off", {"\n 断开", "步:"}, "", &Alarm::row, failed},
        {"alarm check failed", {"\n 断开", "步:", "成功 4, 失败 1\n"}, "", &Alarm::row, failed},
        {"link down", {"网卡2", "报警输入有", "网卡2:网络连接断开 \n"}, "", &Network::row, failed},
        {"USB device missing",
         {"USB口  ", "网络状态  ", "USB口       : 2  \nSATA口      : 5  \n"},
         "",
         &Usb::row,
         failed},
        {"boot parameters not read", unchanged, "ioctl ZORIO_GET_BOOT_PARMS error", &BoardDescription::row,
         failed},
        {"description not read at first", unchanged, "CPLD读取失败,Input", &BoardDescription::row, failed},
        {"clock time lost", clockTimeLost, "", &ClockTimes::row, incomplete},
        {"no drive ports", {"设备有4个", "步:", "设备有0个sata口\n"}, "", &Sata::row, skipped},
        {"no RS485 step", {"步:485测试", "步:"}, "", &Rs485::row, skipped},
        {"line and summary disagree", {"485测试成功", "", "485测试失败\n"}, "", &Rs485::row, failed},
        {"no description", {"=====", "\n"}, "", &BoardDescription::row, failed},
        {"description in error",
         {"硬盘接口", "SATA PM", "CPLD 信息错误\n"},
         "",
         &BoardDescription::row,
         failed},
        {"no clock step", {"步:开始测试RTC", "步:"}, "", &ClockTimes::row, incomplete},
        {"no USB step", {"步:USB口测试", "步:"}, "write error file = r8 ,line = 2 ", &Usb::row, incomplete},
        {"verdict missing", {"报警口"}, "", &Alarm::row, incomplete},
        {"step lost?", {"步:485测试", "步:"}, "xxwrite error file = r8 ,line = 2 ", &Rs485::row, incomplete},
        {"clock pair missing", {"2009-04-03 08:00:18", "步:"}, "", &ClockTimes::row, incomplete},
    };
    for (const auto& [what, change, console, item, outcome] : cases) {
        const TestRun run = interpret(change, console);
        EXPECT_EQ(outcomeName(run.outcome), outcomeName(outcome == skipped ? passed : outcome)) << what;
        for (const Item& one : run.items) {
            const Outcome expected = one.row == item ? outcome : passed;
            EXPECT_TRUE(!one.isOfThisBoard() || one.outcome == expected)
                << what << ": " << one.row->name << " " << outcomeName(one.outcome);
        }
    }
}

TEST(StationOutcome, boardWithoutUsbPortsSkipsThem) {
    const TestRun run = interpret(changedTexts({"USB口  ", "", "USB口       : 0  \nSATA口      : 5  \n"},
                                               changedTexts({"USB个数", "", "USB个数:0\n"})));
    EXPECT_EQ(run.item<Usb>().outcome, Outcome::skipped);
    EXPECT_EQ(run.outcome, Outcome::passed);
}

// What comes from a newer tool than this station, or from a broken one, is no pass.
TEST(StationOutcome, unknownTextIsIncompleteAndNamed) {
    const std::string clockLine = "Rtc时钟       : 由检测人员判断  \n";
    const std::string rule = std::string(64, '-') + "\n";
    const auto& lastStep = *std::find_if(healthyTexts().rbegin(), healthyTexts().rend(),
                                         [](const std::string& text) { return text.starts_with("第"); });
    const int steps = std::stoi(lastStep.substr(std::strlen("第")));
    const struct {
        Change change;
        std::string text;
    } cases[] = {
        {{"Rtc时钟", "", clockLine + "风扇       : 失败  \n"}, "风扇       : 失败"},
        {{"Rtc时钟", "", clockLine + "风扇正常\n"}, "风扇正常"},
        {{"Rtc时钟", "", clockLine + "芯片温度未知: 40 \n"}, "芯片温度未知: 40"},
        {{"Rtc时钟", "", clockLine + "芯片温度正常: x \n"}, "芯片温度正常: x"},
        {{"Rtc时钟", "", clockLine + "芯片温度正常: 40 ? \n"}, "芯片温度正常: 40 ?"},
        {{"Rtc时钟", "", clockLine + "芯片温度: 成功  \n"}, "芯片温度: 成功"},
        {{"CPLD   ", "", "CPLD       : 成功?  \nCPLD       : 成功  \n"}, "CPLD       : 成功?"},
        {{"485口", "", "485口       : 3  \n485口       : 成功  \n"}, "485口       : 3"},
        {{"485口", "", "485口       : 由检测人员判断  \n485口       : 成功  \n"},
         "485口       : 由检测人员判断"},
        {{"-----", "USB口  ", "第0步:风扇测试\n" + rule}, "step " + std::to_string(steps + 1) + " 风扇测试"},
    };
    for (const auto& [change, text] : cases) {
        const TestRun run = interpret(change);
        EXPECT_EQ(run.outcome, Outcome::incomplete) << text;
        EXPECT_THAT(run.reasons, testing::ElementsAre("not known to this station: " + text));
    }
}

TEST(StationOutcome, recordThatTheToolLostIsIncomplete) {
    const TestRun run =
        interpret(Change{}, "xxwrite error file = nic ,line = 5 write error file = r8 ,line = 1 ");
    EXPECT_EQ(run.outcome, Outcome::incomplete);
    EXPECT_THAT(run.reasons, testing::ElementsAre("records that the tool could not write: 2"));
}

TEST(StationOutcome, failedStaysFailedWhateverComesBehind) {
    const TestRun run = interpret(Change{"485口", "", "485口       : 失败  \n485口       : 成功  \n"});
    EXPECT_EQ(run.item<Rs485>().outcome, Outcome::failed);
    // But a run that is not whole proves nothing.
    EXPECT_EQ(interpret(Change{"网络状态  "}, "open /dev/iop failed").outcome, Outcome::incomplete);
}

TEST(StationOutcome, holeInTheStepNumbersIsIncomplete) {
    for (const char* step : {"步:蜂鸣器测试", "步:网络状态", "步:485测试"}) {
        RunInterpreter interpreter;
        for (const std::string& text : changedTexts({step, "步:"})) {
            interpreter.record(1, text);
        }
        interpreter.finish(2, {.exitStatus = 0}, false);
        EXPECT_EQ(interpreter.run.reasons.size(), 1u) << step;
        EXPECT_EQ(interpreter.run.outcome, Outcome::incomplete) << step;
    }
}

TEST(StationOutcome, chipTemperatureCountsWhereItIsChecked) {
    const std::string clockLine = "Rtc时钟       : 由检测人员判断  \n";
    TestRun run = interpret(Change{"Rtc时钟", "", "芯片温度异常: 70 \n" + clockLine});
    EXPECT_EQ(run.values<ChipTemperature>().celsius, 70);
    EXPECT_EQ(run.outcome, Outcome::failed);
    run = interpret(Change{"Rtc时钟", "", "芯片温度正常: -4 \n" + clockLine});
    EXPECT_EQ(run.values<ChipTemperature>().celsius, -4);
    EXPECT_EQ(run.outcome, Outcome::passed);
}

TEST(StationOutcome, badEndOfTheToolIsIncompleteWhateverTheItemsSay) {
    const ToolEnd ends[] = {{.exitStatus = 1},
                            {.exitStatus = {}, .signal = 9},
                            {.exitStatus = 0, .timedOut = true},
                            {.exitStatus = 0, .interrupted = true}};
    for (const ToolEnd& end : ends) {
        const TestRun run = interpret(Change{"485口", "", "485口       : 失败  \n"}, "", end);
        EXPECT_EQ(run.outcome, Outcome::incomplete);
        EXPECT_EQ(run.item<Rs485>().outcome, Outcome::failed);
        EXPECT_EQ(run.reasons.size(), 1u);
    }
}

TEST(StationOutcome, aStepBeginsWhenItIsAnnouncedNotWhenItsLineIsWhole) {
    const TestRun run = interpret(Change{});
    EXPECT_EQ(run.steps[1].name, "buzzer");
    EXPECT_DOUBLE_EQ(run.steps[1].start, 0.5);
}

}  // namespace
