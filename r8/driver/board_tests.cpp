// All that the driver knows of the single tests: what the command line offers, the steps of a full run, and
// by what it is judged.

#include "r8/driver/board_tests.h"

#include <unistd.h>

#include "r8/alarm/iop_test.h"
#include "r8/board/board_config.h"
#include "r8/board/boardinfo.h"
#include "r8/board/boot_params.h"
#include "r8/board/buzzer_watchdog.h"
#include "r8/board/control_device.h"
#include "r8/driver/operator_pause.h"
#include "r8/driver/pm_update_run.h"
#include "r8/driver/report/report_channel.h"
#include "r8/driver/report/run_results.h"
#include "r8/driver/summary.h"
#include "r8/net/nic.h"
#include "r8/panel/front_board_test.h"
#include "r8/print.h"
#include "r8/rtc/rtc_test.h"
#include "r8/serial/485testfork.h"
#include "r8/serial/rs485_exchange.h"
#include "r8/storage/sata_test.h"
#include "r8/usb/usb_disk_test.h"

namespace {

constexpr char reportModule[] = "r8";

// Test 11 alone: no full run has queried the boot parameters, which the MAC lines come from.
void networkTest() {
    const int fd = openControlDevice();
    (void)getBootParams(fd);  // names a failure itself, also on a device that did not open
    (void)close(fd);
    (void)r8_net_test();
}

// A test's number is its place in the table, from 1. Verdicts are in the run's results, not in return values.
struct BoardTest {
    const char* usageRow;
    void (*run)();                             // once
    bool (*applies)() = nullptr;               // null: on every board
    unsigned secondsBefore = 0;                // once, before the first repetition
    void (*repeat)(unsigned count) = nullptr;  // instead of run: announces the repetitions itself
};

constexpr BoardTest boardTests[] = {
    {"No.1 : \t\t\tShow board Info", [] { (void)cpldInfoStep(); }},
    {"No.2 : \t\t\tBuzzer test", buzzerTest},
    {"No.3 : \t\t\tFront-board test", FrontPanelTest, [] { return boardConfig.panelPresent != 0; }},
    {"No.4 : \t\t\t485 com test", [] { (void)Rs485LoopbackTest(); }, nullptr, 10},
    {"No.5 : \t\t\tIop test", [] { (void)iopTest(); }},
    {"No.6 : \t\t\tRTC test", [] { (void)RtcTest(); }},
    {"No.7: \t\t\tUSB port test", [] { (void)UsbPortTest(); }},
    {"No.8: \t\t\tSATA test", sataPortTest},
    {"No.9: \t\t\tWatchdog test,Restart system\n", [] { (void)watchdogTest(); }},
    {"No.10: \t\t\tpmp test,Restart system\n", nullptr, nullptr, 0, portMultiplierRun},
    {"No.11 : \t\t\tNetwork moudel configure show", networkTest},
};

bool usbFailed() {
    return runResults.usbFoundCount != boardConfig.usbPortCount;
}

// What a full run is judged by. The clock has a line of its own behind the supervisor's list, where a person
// judges it; the CPLD step has no say in the verdict.
constexpr SummaryItem summaryItems[] = {
    {"网络状态    ", "网络状态      ", [] { return runResults.networkFailed != 0; }},
    {"485口       ", "485口       ", [] { return runResults.rs485Failed != 0; }},
    {"报警口      ", "报警口      ", [] { return runResults.alarmFailed != 0; }},
    {"Rtc时钟     ", nullptr, [] { return runResults.rtcFailed != 0; }},
    {"USB口       ", "USB口       ", usbFailed},
    {nullptr, "CPLD       ", [] { return runResults.cpldOk == 0; }},
    {"SATA口      ", "SATA口       ", [] { return runResults.sataFailedMask != 0; },
     &runResults.sataFailedMask},
};
constexpr size_t fieldsWithoutItem = 1;  // sataFoundCount, which the summary only counts
static_assert(sizeof summaryItems / sizeof summaryItems[0] + fieldsWithoutItem ==
                  sizeof(RunResults) / sizeof(int32_t),
              "a verdict in RunResults counts only through its row of summaryItems");

void blankLine() {
    reportLine("\n");
}

}  // namespace

const int boardTestCount = sizeof boardTests / sizeof boardTests[0];

void printUsage() {
    print("r8 ver1.02(2009-4-3)\n");
    print("this program will excute the follow test\n");
    for (const BoardTest& test : boardTests) {
        print("%s\n", test.usageRow);
    }
    print("r8 -h or r8 --help for help information\n");
    print("If you want to do all the tests, please run r8 \n");
    print("If you want to do only one test of them ,please run r8 -o  <No.> \n");
    print("        eg. r8 -o 4   then only test 485 port\n");
}

void repeatBoardTest(int number, unsigned count) {
    const BoardTest& test = boardTests[number - 1];
    if (test.secondsBefore != 0) {
        sleep(test.secondsBefore);
    }
    if (test.repeat != nullptr) {
        test.repeat(count);
        return;
    }
    for (unsigned done = 0; done < count; ++done) {
        if (count > 1) {
            print("\n第%d次测试\n", static_cast<int>(done + 1));
        }
        if (test.applies == nullptr || test.applies()) {
            test.run();
        }
    }
}

void runSequence(int controlFd) {
    int step = 1;
    reportLine("第%d步:蜂鸣器测试", step);
    buzzerTest();
    blankLine();

    if (getBootParams(controlFd) == 1) {
        reportLine("第%d步:网络状态\n", ++step);
        pauseForOperator();
        (void)r8_net_test();
        blankLine();
    }
    if (getBootParams(controlFd) == 1) {
        pauseForOperator();
        (void)iopTest();
        blankLine();
    }

    reportLine("第%d步:开始测试RTC\n", ++step);
    pauseForOperator();
    (void)RtcTest();
    blankLine();

    if (consoleMode == 0) {
        buzzerTest();  // calls the operator to the USB step
    }
    reportLine("第%d步:\nUSB口测试\n", ++step);
    (void)UsbPortTest();  // its verdict is in the run's results
    blankLine();

    reportLine("第%d步:\nSATA硬盘测试\n", ++step);
    sataPortTest();
    blankLine();

    if (boardConfig.rs485Present != 0) {
        pauseForOperator();
        reportLine("第%d步:", ++step);
        reportLine("485测试\n请确认已经正确连接好485测试装置\n");
        Rs485ExchangeTest("/dev/ttyS1");
        blankLine();
    }

    pauseForOperator();
    reportLine("第%d步:CPLD信息\n", ++step);
    (void)cpldInfoStep();
    blankLine();

    summarizeRun();
}

void summarizeRun() {
    printSummary({summaryItems, sizeof summaryItems / sizeof summaryItems[0]});
}
