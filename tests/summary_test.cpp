// The run's verdicts: every summary line in both modes, the indicator, the chip temperature.

#include "tests/tool_runs.h"

using testing::HasSubstr;
using vboard::Fault;
using vboard::VirtualBoard;

namespace {

constexpr char head[] =
    "----------------------------------------------------------------\nR8测试结果如下:\n"
    "USB口       : 0  \nSATA口      : 0  \n";
constexpr char tail[] = "----------------------------------------------------------------\n";

// The summary of a run whose results are set by hand.
vboard::Run summary(VirtualBoard& board, std::vector<std::string> settings) {
    settings.push_back("printSummary");
    return runModule(board, settings);
}

std::string levels(const vboard::Run& run) {
    std::string text;
    for (const auto& entry : run.requests("ZORIO_GPIO_WRITE")) {
        const long milliseconds = entry.at / std::chrono::milliseconds(1);
        text += std::to_string(milliseconds) + (entry.arguments == "0x104" ? "^ "
                                                : entry.arguments == "0x4" ? "_ "
                                                                           : "? ");
    }
    return text;
}

}  // namespace

TEST(Summary, ConsoleListsTheFailedItemsOnly) {
    const struct {
        std::vector<std::string> settings;
        std::string says;
    } cases[] = {
        {{}, "测试结果:  OK!\n"},
        {{"cpldOk=0"}, "测试结果:  OK!\n"},
        {{"networkFailed=1"}, "网络状态    : error occured!  \n"},
        {{"rs485Failed=1"}, "485口       : error occured!  \n"},
        {{"alarmFailed=1"}, "报警口      : error occured!  \n"},
        {{"rtcFailed=1"}, "Rtc时钟     : error occured!  \n"},
        {{"usbPortCount=1"}, "USB口       : error occured!  \n"},
        {{"sataFailedMask=5"}, "SATA口      : 端口1,3无连接\n"},
        {{"sataFailedMask=0x80000000"}, "SATA口      : 端口32无连接\n"},
        {{"networkFailed=1", "rs485Failed=1", "alarmFailed=1", "rtcFailed=1", "usbPortCount=2",
          "sataFailedMask=3"},
         "网络状态    : error occured!  \n485口       : error occured!  \n报警口      : error occured!  \n"
         "Rtc时钟     : error occured!  \nUSB口       : error occured!  \nSATA口      : 端口1,2无连接\n"},
    };
    for (const auto& [settings, says] : cases) {
        VirtualBoard board = VirtualBoard::healthy();
        EXPECT_EQ(summary(board, settings).console(), head + says + tail);
        EXPECT_EQ(board.control.gpioLevels, 1U << 4);
        EXPECT_EQ(board.control.gpioOutputs, 1U << 4);
    }
}

TEST(Summary, MoreUsbPortsThanFittedAreAFailureToo) {
    VirtualBoard board = VirtualBoard::healthy();
    EXPECT_THAT(summary(board, {"usbFoundCount=3", "usbPortCount=2"}).console(),
                HasSubstr("USB口       : 3  \nSATA口      : 0  \nUSB口       : error occured!  \n"));
}

TEST(Summary, TheIndicatorShowsTheVerdictFromAfar) {
    VirtualBoard passed = VirtualBoard::healthy();
    passed.settings.requestCost = vboard::Time(0);
    const std::string once = "0_ 300^ 400_ 700^ 800_ 1100^ 1200_ 1300^ 1400_ 1500^ 1600_ 1700^ ";
    const std::string again = "3800_ 4100^ 4200_ 4500^ 4600_ 4900^ 5000_ 5100^ 5200_ 5300^ 5400_ 5500^ ";
    const auto run = summary(passed, {});
    EXPECT_EQ(levels(run), once + again);
    EXPECT_EQ(run.elapsed / std::chrono::milliseconds(1), 7600);

    VirtualBoard failed = VirtualBoard::healthy();
    failed.settings.requestCost = vboard::Time(0);
    EXPECT_EQ(levels(summary(failed, {"alarmFailed=1"})), "0_ 3000^ ");
}

// The lines of a run in which nothing failed stand in the golden files; a failed item changes its own and no
// other.
TEST(Summary, NetworkedModeGivesEveryItemALine) {
    VirtualBoard healthy = VirtualBoard::healthy();
    const std::string passed = joined(summary(healthy, {"pipe=1"}).records());
    EXPECT_THAT(passed, testing::AllOf(HasSubstr(head), HasSubstr("\nRtc时钟       : 由检测人员判断  \n"),
                                       testing::EndsWith(tail)));
    const struct {
        const char* setting;
        const char* label;
        const char* verdict;
    } cases[] = {
        {"rtcFailed=1", "SATA口       : ", "成功  \n"},
        {"networkFailed=1", "网络状态      : ", "失败  \n"},
        {"rs485Failed=1", "485口       : ", "失败  \n"},
        {"alarmFailed=1", "报警口      : ", "失败  \n"},
        {"usbPortCount=7", "\nUSB口       : ", "失败  \n"},
        {"cpldOk=0", "CPLD       : ", "失败  \n"},
        {"sataFailedMask=3", "SATA口       : ", "端口1,2无连接\n"},
    };
    for (const auto& [setting, label, verdict] : cases) {
        const std::string whole = label + std::string("成功  \n");
        ASSERT_EQ(count(passed, whole), 1) << label;
        std::string expected = passed;
        expected.replace(expected.find(whole), whole.size(), std::string(label) + verdict);
        VirtualBoard board = VirtualBoard::healthy();
        EXPECT_EQ(joined(summary(board, {setting, "pipe=1"}).records()), expected);
        EXPECT_EQ(board.control.gpioOutputs, 0U);  // the indicator is for who has no supervisor
    }
}

TEST(Summary, ChipTemperatureCountsOnlyWhereItIsSwitchedOn) {
    const struct {
        int degrees;
        std::vector<Fault> faults;
        std::string says;
    } cases[] = {
        {-4, {}, "芯片温度正常: -4 \n测试结果:  OK!\n"},
        {69, {}, "芯片温度正常: 69 \n测试结果:  OK!\n"},
        {-5, {}, "芯片温度异常: -5 \n"},
        {70, {}, "芯片温度异常: 70 \n"},
        {-128, {}, "芯片温度异常: -128 \n"},
        {45, {{"ZORIO_GET_CHIP_TEMP", ""}}, "芯片温度获取失败: 0 \n"},
        {45, {{"open", "/dev/zorio"}}, "芯片温度获取失败: 0 \n"},
    };
    for (const auto& [degrees, faults, says] : cases) {
        VirtualBoard board = VirtualBoard::healthy();
        board.control.chipTemperature = static_cast<std::int8_t>(degrees);
        board.settings.faults = faults;
        EXPECT_EQ(summary(board, {"chipTempCheckEnabled=1"}).console(), head + says + tail) << degrees;
        const std::string line = says.substr(0, says.find('\n') + 1);
        EXPECT_THAT(joined(summary(board, {"pipe=1", "chipTempCheckEnabled=1"}).records()),
                    says.find("OK!") != says.npos ? HasSubstr(line + "网络状态")
                                                  : HasSubstr("成功  \n" + line + "Rtc时钟"));
    }
    VirtualBoard board = VirtualBoard::healthy();
    board.control.chipTemperature = 100;
    const auto run = summary(board, {"chipTempCheckEnabled=0"});
    EXPECT_THAT(run.console(), HasSubstr("OK!"));
    EXPECT_TRUE(run.requests("ZORIO_GET_CHIP_TEMP").empty());
}
