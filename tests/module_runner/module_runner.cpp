// Runs procedures of the tool with records set by hand: module_runner [FIELD=VALUE ...] PROCEDURE [ARGUMENT]
// [PROCEDURE [ARGUMENT] ...] It is started on the virtual board like the tool itself.

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "r8/alarm/iop_test.h"
#include "r8/board/board_config.h"
#include "r8/board/buzzer_watchdog.h"
#include "r8/driver/board_tests.h"
#include "r8/driver/pm_update_run.h"
#include "r8/driver/report/report_channel.h"
#include "r8/driver/report/run_results.h"
#include "r8/net/nic.h"
#include "r8/panel/front_board_test.h"
#include "r8/rtc/rtc_test.h"
#include "r8/serial/485testfork.h"
#include "r8/serial/rs485_exchange.h"
#include "r8/serial/serial_port.h"
#include "r8/storage/sata_test.h"
#include "r8/usb/usb_disk_test.h"

namespace {

// What the procedure initSerialPort sets the RS485 port up with.
struct {
    unsigned rate = 9600;
    int dataBitsIndex = 3;
    int twoStopBits = 0;
    int parity = 0;
    int flowKind = 0;
} serialSetUp;

template <typename Number>
bool assign(const char* setting, const char* name, Number& field) {
    const std::size_t length = std::strlen(name);
    if (std::strncmp(setting, name, length) != 0 || setting[length] != '=') {
        return false;
    }
    field = static_cast<Number>(std::strtoll(setting + length + 1, nullptr, 0));
    return true;
}

#define FIELD(record, name) assign(setting, #name, record.name)

// Networked mode, as the driver sets it up.
bool openPipe(const char* setting) {
    if (std::strcmp(setting, "pipe=1") != 0) {
        return false;
    }
    reportPipeFd = open("/var/r8.fifo", O_WRONLY | O_NONBLOCK);
    consoleMode = 0;
    return reportPipeFd != -1;
}

bool set(const char* setting) {
    return openPipe(setting) || FIELD(boardConfig, diskPortCount) || FIELD(boardConfig, esataPortCount) ||
           FIELD(boardConfig, usbPortCount) || FIELD(boardConfig, alarmInCount) ||
           FIELD(boardConfig, alarmOutCount) || FIELD(boardConfig, chipTempCheckEnabled) ||
           FIELD(boardConfig, netCardCount) || FIELD(boardConfig, poeSwitchPresent) ||
           FIELD(serialSetUp, rate) || FIELD(serialSetUp, dataBitsIndex) || FIELD(serialSetUp, twoStopBits) ||
           FIELD(serialSetUp, parity) || FIELD(serialSetUp, flowKind) || FIELD(runResults, usbFoundCount) ||
           FIELD(runResults, sataFailedMask) || FIELD(runResults, networkFailed) ||
           FIELD(runResults, rs485Failed) || FIELD(runResults, alarmFailed) || FIELD(runResults, rtcFailed) ||
           FIELD(runResults, cpldOk);
}

int initSerialPort() {
    const int fd = open("/dev/ttyS1", O_RDWR);
    return InitSerialPort(fd, serialSetUp.rate, serialSetUp.dataBitsIndex, serialSetUp.twoStopBits,
                          serialSetUp.parity, serialSetUp.flowKind) == 0
               ? EXIT_SUCCESS
               : EXIT_FAILURE;
}

void say(const char* what, long result) {
    if (result == -1) {
        std::perror(what);
    } else {
        std::printf("%s: %ld\n", what, result);
    }
}

// What no tool may do: the board has to refuse it, and the host must not notice.
void escape() {
    (void)dup2(STDOUT_FILENO, STDERR_FILENO);
    say("open /etc/passwd", open("/etc/passwd", O_RDONLY));
    char bytes[8] = {};
    say("ioctl 0x1234", ioctl(open("/dev/zorio", O_RDWR), 0x1234, bytes));
    say("system", system("touch /tmp/escaped"));
    say("mount", mount("/dev/sdz", "/tmp", "ext4", 0, nullptr));
}

void showBoardConfig() {
    (void)loadBoardConfig(0);
    std::printf("poe %d panel %d disks %d esata %d\n", boardConfig.poeSwitchPresent, boardConfig.panelPresent,
                boardConfig.diskPortCount, boardConfig.esataPortCount);
}

// The panel test, then time for three heartbeats while the panel port's number belongs to another file.
void panelTestAndReuse() {
    FrontPanelTest();
    (void)open("/dev/zorio", O_RDWR);
    sleep(30);
}

// As a caller leaves the tool without standard input: the next file that opens gets number 0.
void closeStandardInput() {
    (void)close(STDIN_FILENO);
}

void exchangeRs485(int times) {
    for (int i = 0; i < times; ++i) {
        Rs485ExchangeTest("/dev/ttyS1");
    }
}

// What can be called; the argument is 1 where none is given. A result is the exit status.
constexpr struct {
    const char* name;
    int (*call)(int argument);
} procedures[] = {
    {"escape", [](int) { return escape(), 0; }},
    {"closeStandardInput", [](int) { return closeStandardInput(), 0; }},
    {"loadBoardConfig", [](int) { return showBoardConfig(), 0; }},
    {"beep", [](int count) { return beep(count), 0; }},
    {"printSummary", [](int) { return summarizeRun(), 0; }},
    {"sataPortTest", [](int) { return sataPortTest(), 0; }},
    {"UsbPortTest", [](int) { return (void)UsbPortTest(), 0; }},
    {"iopTest", [](int) { return iopTest(); }},
    {"RtcTest", [](int) { return (void)RtcTest(), 0; }},
    {"r8_net_test", [](int) { return (void)r8_net_test(), 0; }},
    {"portMultiplierRun", [](int count) { return portMultiplierRun(static_cast<unsigned>(count)), 0; }},
    {"rs485ExchangeTest", [](int times) { return exchangeRs485(times), 0; }},
    {"Rs485LoopbackTest", [](int) { return Rs485LoopbackTest(); }},
    {"panelTestAndReuse", [](int) { return panelTestAndReuse(), 0; }},
    {"initSerialPort", [](int) { return initSerialPort(); }},
};

int call(const char* name, int argument) {
    for (const auto& procedure : procedures) {
        if (std::strcmp(procedure.name, name) == 0) {
            return procedure.call(argument);
        }
    }
    (void)std::fprintf(stderr, "module_runner: no procedure %s\n", name);
    return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
    (void)std::setvbuf(stdout, nullptr, _IONBF, 0);
    int next = 1;
    while (next < argc && std::strchr(argv[next], '=') != nullptr) {
        if (!set(argv[next])) {
            (void)std::fprintf(stderr, "module_runner: no field %s\n", argv[next]);
            return EXIT_FAILURE;
        }
        ++next;
    }
    int status = next < argc ? EXIT_SUCCESS : EXIT_FAILURE;
    while (next < argc && status == EXIT_SUCCESS) {
        const char* procedure = argv[next++];
        const bool hasArgument = next < argc && std::strspn(argv[next], "-0123456789") != 0;
        status = call(procedure, hasArgument ? std::atoi(argv[next++]) : 1);
    }
    return status;
}
