#include "r8/driver/board_tests.h"

#include <unistd.h>

#include "r8/alarm/iop_test.h"
#include "r8/board/board_config.h"
#include "r8/board/boardinfo.h"
#include "r8/board/boot_params.h"
#include "r8/board/buzzer_watchdog.h"
#include "r8/board/control_device.h"
#include "r8/driver/pm_update_run.h"
#include "r8/net/nic.h"
#include "r8/panel/front_board_test.h"
#include "r8/print.h"
#include "r8/rtc/rtc_test.h"
#include "r8/serial/485testfork.h"
#include "r8/storage/sata_test.h"
#include "r8/usb/usb_disk_test.h"

namespace {

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
static_assert(sizeof boardTests / sizeof boardTests[0] == boardTestCount,
              "the range messages name the count");

}  // namespace

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
