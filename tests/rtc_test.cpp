// The clock test as the operator and the supervising process see it.

#include <csignal>

#include "tests/tool_runs.h"

using namespace std::chrono_literals;
using testing::EndsWith;
using testing::HasSubstr;
using vboard::Time;
using vboard::VirtualBoard;

TEST(Rtc, TwoSecondsEitherWayAreWithinTolerance) {
    const struct {
        Time offset, drift;
        int failedComparisons;
    } cases[] = {
        {0s, 0s, 0},     {1s, 0s, 0},     {-1s, 0s, 0}, {2s, 0s, 0},   {-2s, 0s, 0},
        {2500ms, 0s, 0}, {2950ms, 0s, 3},  // past the next whole second
        {3s, 0s, 3},     {-3s, 0s, 3},    {1h, 0s, 3},  {-24h, 0s, 3}, {0s, -800ms, 2},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(std::chrono::duration<double>(row.offset).count());
        VirtualBoard board = VirtualBoard::healthy();
        board.clockChip.offset = row.offset;
        board.clockChip.drift = row.drift;
        EXPECT_EQ(board.run({"-o", "6"}).beeps(), 2 * row.failedComparisons);
    }
}

TEST(Rtc, AFailureIsNotForgottenByALaterComparisonOrRun) {
    VirtualBoard board = VirtualBoard::healthy();
    EXPECT_THAT(runModule(board, {"rtcFailed=1", "RtcTest", "printSummary"}).console(),
                HasSubstr("Rtc时钟     : error occured!  \n"));
    board.clockChip.offset = -3s;
    board.clockChip.drift = 500ms;  // within tolerance again at the end
    const auto run = runModule(board, {"RtcTest", "printSummary"});
    EXPECT_LT(run.beeps(), 6);
    EXPECT_THAT(run.console(), HasSubstr("Rtc时钟     : error occured!  \n"));
}

TEST(Rtc, ThreePairsOfLinesASecondApart) {
    VirtualBoard board = VirtualBoard::healthy();
    board.clockChip.offset = -2s - 24h * 34;  // in another month; each comparison beeps
    vboard::ToolCommand abroad = vboard::defaultToolCommand();
    abroad.arguments = {"-o", "6"};
    abroad.environment = {"TZ=CST-8"};  // both times are told as UTC
    const auto run = board.run(abroad);
    EXPECT_THAT(run.console(), HasSubstr("时钟时间 2009-02-28 08:00:00\n系统时间 2009-04-03 08:00:02\n"
                                         "时钟时间 2009-02-28 08:00:01\n系统时间 2009-04-03 08:00:03\n"
                                         "时钟时间 2009-02-28 08:00:03\n系统时间 2009-04-03 08:00:05\n"));
    board.clockChip.offset = 0s;
    const auto passed = board.run({"-o", "6", "2"});
    const auto reads = passed.requests("RTC_RD_TIME");
    ASSERT_EQ(reads.size(), 6U);
    for (std::size_t i = 0; i < reads.size(); ++i) {
        const Time next = i + 1 < reads.size() ? reads[i + 1].at : passed.elapsed;
        EXPECT_GE(next - reads[i].at, 1s);
        EXPECT_LT(next - reads[i].at, 1010ms);
    }
}

TEST(Rtc, AnInterruptPrintsTheReadsDuringTheTestAndLaterInTheRun) {
    VirtualBoard board = VirtualBoard::healthy();
    board.settings.faults = {{"RTC_RD_TIME", "", 2, false, EIO}};
    for (const char* mode : {"-o", "", "netR8test"}) {
        const std::vector<std::string> arguments = *mode == '-'    ? std::vector<std::string>{"-o", "6"}
                                                   : *mode == '\0' ? std::vector<std::string>{}
                                                                   : std::vector<std::string>{mode};
        board.settings.interrupts.clear();
        const auto whole = board.run(arguments);
        const auto reads = whole.requests("RTC_RD_TIME");
        ASSERT_EQ(reads.size(), 3U);
        std::vector<std::pair<Time, const char*>> moments = {
            {reads[0].at + 500ms, "read rtc successfully 1 times : failed 0 times\n"},
            {reads[1].at + 500ms, "read rtc successfully 1 times : failed 1 times\n"},  // while it beeps
            {reads[2].at + 500ms, "read rtc successfully 2 times : failed 1 times\n"}};
        if (*mode != '-') {
            for (const char* later : {"statfs", "HDIO_DRIVE_CMD", "ZORIO_GET_CPLD_INFO"}) {
                moments.emplace_back(whole.requests(later).back().at, moments[2].second);
            }
        }
        for (const auto& [moment, line] : moments) {
            board.settings.interrupts = {moment};
            const auto run = board.run(arguments);
            EXPECT_EQ(run.signal(), SIGINT);
            EXPECT_THAT(run.console(), EndsWith(line));
            EXPECT_THAT(run.records(), testing::Each(testing::Not(HasSubstr("read rtc"))));
        }
    }
}

TEST(Rtc, EveryFailedRequestStillEndsInThreeComparisons) {
    sweepFailures(runTool, {"-o", "6"}, [](const vboard::Run& run, const std::string& console) {
        EXPECT_EQ(count(console, "时钟时间 "), 3);
        EXPECT_EQ(count(console, "系统时间 2009-04-03 08:00:"), 3);
        EXPECT_EQ(run.beeps() / 2 + count(console, "open hwInfo error!\n"),
                  count(console, "1900-01-00 00:00:00"));
    });
}
