// The tool's entry: command line, preparation of the board, one test repeated or the full sequence.

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <unistd.h>

#include "r8/alarm/iop_test.h"
#include "r8/board/board_config.h"
#include "r8/board/boardinfo.h"
#include "r8/board/boot_params.h"
#include "r8/board/buzzer_watchdog.h"
#include "r8/board/control_device.h"
#include "r8/contract/report_record.h"
#include "r8/driver/board_tests.h"
#include "r8/driver/command_line.h"
#include "r8/driver/main_application.h"
#include "r8/driver/report/report_channel.h"
#include "r8/driver/standard_descriptors.h"
#include "r8/driver/summary.h"
#include "r8/net/nic.h"
#include "r8/panel/panel_link.h"
#include "r8/print.h"
#include "r8/rtc/rtc_test.h"
#include "r8/serial/rs485_exchange.h"
#include "r8/storage/sata_test.h"
#include "r8/usb/usb_disk_test.h"

namespace {

constexpr char reportModule[] = "r8";
constexpr int startUpFailure = 1;
constexpr unsigned long startUpWatchdogTimeout = 7;  // in the driver's unit
constexpr unsigned modeSettleSeconds = 2;
constexpr size_t operatorInputBytes = 20;

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

// A pause that the operator's Enter cuts short. Reads at most 20 bytes into buffer, the line break replaced
// by NUL; returns the bytes before it, 0 when nothing came in time or could be read.
ssize_t waitOperator(char* buffer, unsigned seconds) {
    fd_set input;
    FD_ZERO(&input);
    FD_SET(STDIN_FILENO, &input);
    timeval timeout = {};
    timeout.tv_sec = static_cast<time_t>(seconds);
    if (select(STDIN_FILENO + 1, &input, nullptr, nullptr, &timeout) <= 0) {
        return 0;
    }
    const ssize_t length = read(STDIN_FILENO, buffer, operatorInputBytes);
    if (length <= 0) {
        return 0;
    }
    if (length > 1) {
        buffer[length - 1] = '\0';
    }
    return length - 1;
}

void pauseForOperator() {
    char ignored[operatorInputBytes];
    (void)waitOperator(ignored, 1);
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

void blankLine() {
    reportLine("\n");
}

// The steps of a full run in their order; a step that does not apply takes no number.
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

    printSummary();
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
