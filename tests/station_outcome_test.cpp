// What a run's lines mean: outcomes per item and for the unit, measured values.

#include <gmock/gmock.h>

#include <algorithm>

#include "run_interpreter.h"
#include "station_streams.h"

using namespace station;
using namespace station_test;

namespace {

using Change = std::pair<std::string, std::string>;  // the first text that begins so becomes this

constexpr const char* gone = "(gone)";

std::vector<std::string> changedTexts(const std::vector<Change>& changes) {
    std::vector<std::string> texts = healthyTexts();
    for (const auto& [begin, replacement] : changes) {
        const auto found = std::find_if(texts.begin(), texts.end(),
                                        [&](const std::string& text) { return text.starts_with(begin); });
        if (found == texts.end()) {
            throw std::runtime_error("no text begins with " + begin);
        }
        if (replacement == gone) {
            texts.erase(found);
        } else {
            *found = replacement;
        }
    }
    return texts;
}

TestRun interpret(const std::vector<Change>& changes, const std::vector<std::string>& consoleLines = {},
                  const ToolEnd& end = {.exitStatus = 0}) {
    RunInterpreter interpreter;
    double at = 0;
    for (const std::string& line : consoleLines) {
        interpreter.console(at, line);
    }
    for (const std::string& text : changedTexts(changes)) {
        interpreter.record(at += 0.5, text);
    }
    interpreter.finish(at, end, false);
    judgeClock(interpreter.run, ClockJudge::automatic, {});
    return interpreter.run;
}

const std::vector<Change> noNetworkStep = {{"第2步:", gone}, {"网卡1:", gone}, {"网络连接", gone},
                                           {"全双工", gone}, {"1000M", gone},  {"网卡2:", gone}};
const std::vector<Change> noAlarmLines = {{"报警输入有", gone}, {"\n 断开", gone}, {"成功 5", gone}};
const std::vector<Change> noRs485Step = {{"第6步:", gone}, {"485测试\n", gone}, {"485测试成功", gone}};

TEST(StationOutcome, followsTheLines) {
    const struct {
        const char* what;
        std::vector<Change> changes;
        std::vector<std::string> console;
        ItemIndex item;
        Outcome outcome;
        Outcome unit;
    } cases[] = {
        {"healthy", {}, {}, sataItem, Outcome::passed, Outcome::passed},
        {"summary fails",
         {{"网络状态      : 成功", "网络状态      : 失败  \n"}},
         {},
         networkItem,
         Outcome::failed,
         Outcome::failed},
        {"ports missing",
         {{"SATA口       : 成功", "SATA口       : 端口1,3无连接\n"}},
         {},
         sataItem,
         Outcome::failed,
         Outcome::failed},
        {"CPLD fails",
         {{"CPLD       : 成功", "CPLD       : 失败  \n"}},
         {},
         cpldItem,
         Outcome::failed,
         Outcome::failed},
        {"no network step", noNetworkStep, {}, networkItem, Outcome::skipped, Outcome::passed},
        {"no alarm step", noAlarmLines, {}, alarmItem, Outcome::skipped, Outcome::passed},
        {"no RS485 step", noRs485Step, {}, rs485Item, Outcome::skipped, Outcome::passed},
        {"board without alarm lines",
         {{"报警输入有", "设备没有报警输入或输出接口\n"}, {"\n 断开", gone}, {"成功 5", gone}},
         {},
         alarmItem,
         Outcome::skipped,
         Outcome::passed},
        {"board with 4 alarm inputs",
         {{"报警输入有", "\n 报警输出为 1，报警输入(1-4), 成功 2, 失败 0\n"},
          {"\n 断开", gone},
          {"成功 5", gone}},
         {},
         alarmItem,
         Outcome::passed,
         Outcome::passed},
        {"alarm device closed",
         noAlarmLines,
         {"open /dev/iop failed"},
         alarmItem,
         Outcome::failed,
         Outcome::failed},
        {"alarm input not read",
         {{"\n 断开", "IOCTL ERROR\n"}},
         {},
         alarmItem,
         Outcome::failed,
         Outcome::failed},
        {"no socket",
         {{"网卡1:", gone}, {"网络连接", gone}, {"全双工", gone}, {"1000M", gone}, {"网卡2:", gone}},
         {"creat socket error"},
         networkItem,
         Outcome::failed,
         Outcome::failed},
        {"line and summary disagree",
         {{"485测试成功", "485测试失败\n"}},
         {},
         rs485Item,
         Outcome::failed,
         Outcome::failed},
        {"no disk ports",
         {{"设备有1个", "设备有0个sata口\n"}, {"/dev/sda", gone}},
         {},
         sataItem,
         Outcome::skipped,
         Outcome::passed},
        {"no USB ports",
         {{"USB个数", "USB个数:0\n"}, {"USB口       : 1", "USB口       : 0  \nSATA口      : 1  \n"}},
         {},
         usbItem,
         Outcome::skipped,
         Outcome::passed},
        {"verdict missing", {{"报警口", gone}}, {}, alarmItem, Outcome::incomplete, Outcome::incomplete},
        {"step unknown as lines were lost",
         noRs485Step,
         {"xxwrite error file = r8 ,line = 208 "},
         rs485Item,
         Outcome::incomplete,
         Outcome::incomplete},
        {"lines lost elsewhere",
         {},
         {"write error file = nic ,line = 5 "},
         networkItem,
         Outcome::passed,
         Outcome::passed},
        {"clock 3 s ahead",
         {{"2026-11-22 10:00:02", "2026-11-22 10:00:03\n"}},
         {},
         clockItem,
         Outcome::failed,
         Outcome::failed},
        {"clock unreadable",
         {{"2026-11-22 10:00:02", "1900-01-00 00:00:00\n"}},
         {},
         clockItem,
         Outcome::failed,
         Outcome::failed},
        {"clock pair missing",
         {{"2026-11-22 10:00:02", gone}, {"2026-11-22 10:00:00", gone}},
         {},
         clockItem,
         Outcome::incomplete,
         Outcome::incomplete},
    };
    for (const auto& [what, changes, console, item, outcome, unit] : cases) {
        const TestRun run = interpret(changes, console);
        EXPECT_EQ(outcomeName(run.items[item].outcome), outcomeName(outcome)) << what;
        EXPECT_EQ(outcomeName(run.outcome), outcomeName(unit)) << what;
        for (size_t other = 0; other < itemCount; ++other) {
            EXPECT_TRUE(other == item || run.items[other].outcome == Outcome::passed)
                << what << ", item " << other;
        }
    }
}

TEST(StationOutcome, chipTemperatureCountsWhereItIsChecked) {
    const std::string clockLine = "Rtc时钟       : 由检测人员判断  \n";
    TestRun run = interpret({{"Rtc时钟", "芯片温度异常: 70 \n" + clockLine}});
    EXPECT_EQ(run.chipTemperature->measured["celsius"], 70);
    EXPECT_EQ(run.outcome, Outcome::failed);
    run = interpret({{"Rtc时钟", "芯片温度正常: -4 \n" + clockLine}});
    EXPECT_EQ(run.chipTemperature->measured["celsius"], -4);
    EXPECT_EQ(run.outcome, Outcome::passed);
}

TEST(StationOutcome, badEndOfTheToolIsIncompleteWhateverTheItemsSay) {
    const ToolEnd ends[] = {{.exitStatus = 1},
                            {.exitStatus = {}, .signal = 9},
                            {.exitStatus = 0, .timedOut = true},
                            {.exitStatus = 0, .interrupted = true}};
    for (const ToolEnd& end : ends) {
        const TestRun run = interpret({{"485口", "485口       : 失败  \n"}}, {}, end);
        EXPECT_EQ(run.outcome, Outcome::incomplete);
        EXPECT_EQ(run.items[rs485Item].outcome, Outcome::failed);
        EXPECT_EQ(run.reasons.size(), 1u);
    }
}

TEST(StationOutcome, personJudgesTheClockOnce) {
    RunInterpreter interpreter;
    for (const std::string& text : healthyTexts()) {
        interpreter.record(0, text);
    }
    interpreter.finish(1, {.exitStatus = 0}, false);
    const auto outcomeWith = [&](ClockJudge judge, std::optional<bool> answer) {
        TestRun run = interpreter.run;
        judgeClock(run, judge, [&] { return answer; });
        return run.outcome;
    };
    EXPECT_EQ(outcomeWith(ClockJudge::leave, true), Outcome::needsPerson);
    EXPECT_EQ(outcomeWith(ClockJudge::ask, std::nullopt), Outcome::needsPerson);
    EXPECT_EQ(outcomeWith(ClockJudge::ask, true), Outcome::passed);
    EXPECT_EQ(outcomeWith(ClockJudge::ask, false), Outcome::failed);
}

TEST(StationOutcome, measuresWhatTheLinesSay) {
    const TestRun run = interpret(
        {}, {"网卡1 mac地址:00:11:22:33:44:55", "RS485第 1 次测试成功RS485测试成功次数为 3，错误次数为 0"});
    EXPECT_EQ(run.board, Json::parse(R"({"macs":["00:11:22:33:44:55"],"pcb":"QM-0x4660",
        "cpldDate":"18年5月3日.","deviceType":"NVR"})"));
    const std::pair<ItemIndex, const char*> values[] = {
        {networkItem,
         R"({"cards":[{"card":1,"link":true,"duplex":"full","speedMbit":1000},{"card":2,"poe":true}]})"},
        {rs485Item, R"({"trialsPassed":3,"trialsFailed":0})"},
        {alarmItem, R"({"inputs":16,"outputs":4,"checksPassed":5,"checksFailed":0})"},
        {usbItem, R"({"usb3":true,"disks":[{"device":"/dev/msa1","freeMiB":3700}],"expected":1,"found":1})"},
        {sataItem, R"({"expected":1,"drives":[{"device":"/dev/sda","serial":"WD-1234","model":"GREEN 1TB",
            "firmware":"01.0","capacityGiB":931}],"missing":["/dev/sdf"],"found":1})"},
    };
    for (const auto& [item, json] : values) {
        EXPECT_EQ(run.items[item].measured, Json::parse(json));
    }
    EXPECT_EQ(run.items[clockItem].measured["pairs"][0]["differenceSeconds"], 2);
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
