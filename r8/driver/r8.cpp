// The tool's entry: command line, preparation of the board, one test repeated or the full sequence.

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "r8/board/board_config.h"
#include "r8/board/buzzer_watchdog.h"
#include "r8/board/control_device.h"
#include "r8/contract/report_record.h"
#include "r8/driver/board_tests.h"
#include "r8/driver/command_line.h"
#include "r8/driver/main_application.h"
#include "r8/driver/report/report_channel.h"
#include "r8/driver/standard_descriptors.h"
#include "r8/panel/panel_link.h"
#include "r8/print.h"

namespace {

constexpr char reportModule[] = "r8";
constexpr int startUpFailure = 1;
constexpr unsigned long startUpWatchdogTimeout = 7;  // in the driver's unit
constexpr unsigned modeSettleSeconds = 2;

// Opens the control device, sets the watchdog's timeout for the time of the tests, and the mode. The
// descriptor, or -1 with a message.
int prepareControlDevice() {
    const int fd = openControlDevice();
    if (fd == -1) {
        print("打开hwInfo设备出错!\n");
        return -1;
    }
    if (ioctl(fd, ZORIO_SET_WDT_TIMEOUT, startUpWatchdogTimeout) < 0) {
        print("初始化看门狗失败!\n");
        (void)close(fd);
        return -1;
    }
    (void)ioctl(fd, ZORIO_SET_MODE, 0UL);  // no test depends on the mode
    return fd;
}

void startPanelHeartbeat() {
    if (boardConfig.panelPresent != 0) {
        (void)StartPanelHbThread();  // says itself when it fails; a panel without heartbeat still takes keys
    }
}

int singleTest(int argc, char** argv) {
    SingleTest test;
    if (!parseSingleTest(argc, argv, &test)) {
        return EXIT_SUCCESS;
    }
    const int fd = prepareControlDevice();
    if (fd == -1) {
        return startUpFailure;
    }
    (void)close(fd);
    sleep(modeSettleSeconds);
    (void)stopMainApplication();  // a busy application shows in the test itself
    startPanelHeartbeat();
    repeatBoardTest(test.number, test.count);
    return EXIT_SUCCESS;
}

void endFullRun() {
    if (consoleMode != 0) {
        print("R8测试结束\n");
        return;
    }
    buzzerTest();
    reportLine("R8测试结束\n");
    reportLine("R8TESTEND");
    (void)close(reportPipeFd);
    reportPipeFd = -1;
}

int fullRun() {
    const int controlFd = prepareControlDevice();  // open until the process ends
    if (controlFd == -1) {
        return startUpFailure;
    }
    sleep(modeSettleSeconds);
    print("no kill vidapp\n");
    startPanelHeartbeat();
    runSequence(controlFd);
    endFullRun();
    return EXIT_SUCCESS;
}

bool openReportPipe() {
    reportPipeFd = open(reportPipePath, O_WRONLY | O_NONBLOCK);
    if (reportPipeFd == -1) {
        reportLine("打开命名管道出错\n");
        return false;
    }
    consoleMode = 0;
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    openStandardDescriptors();
    (void)signal(SIGPIPE, SIG_IGN);  // a supervising process that goes away costs lines, not the run

    if (setuid(0) != 0) {
        print("切换到超级用户失败，可能会对R8的某些项测试有影响\n");
    }
    (void)loadBoardConfig(0);  // without a board description the tool goes on with the start values
    if (argc > 1 && strcmp(argv[1], "netR8test") == 0 && !openReportPipe()) {
        return EXIT_SUCCESS;
    }
    if (argc == 2 && (strcmp(argv[1], "-h") == 0 || strcmp(argv[1], "--help") == 0)) {
        printUsage();
        return EXIT_SUCCESS;
    }
    return argc == 3 || argc == 4 ? singleTest(argc, argv) : fullRun();
}
