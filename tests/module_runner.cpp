// Runs one procedure of the tool with records set by hand: module_runner [FIELD=VALUE ...] PROCEDURE
// [ARGUMENT] It is started on the virtual board like the tool itself.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/board_config.h"
#include "board/buzzer_watchdog.h"
#include "driver/pm_update_run.h"
#include "driver/report/run_results.h"
#include "driver/summary.h"
#include "panel/front_board_test.h"
#include "serial/rs485_exchange.h"
#include "serial/serial_port.h"
#include "storage/sata_test.h"

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
    field = static_cast<Number>(std::strtol(setting + length + 1, nullptr, 0));
    return true;
}

#define FIELD(record, name) assign(setting, #name, record.name)

bool set(const char* setting) {
    return FIELD(boardConfig, diskPortCount) || FIELD(boardConfig, esataPortCount) ||
           FIELD(boardConfig, usbPortCount) || FIELD(boardConfig, chipTempCheckEnabled) ||
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

// The panel test, then time for three heartbeats while the panel port's number belongs to another file.
void panelTestAndReuse() {
    FrontPanelTest();
    (void)open("/dev/zorio", O_RDWR);
    sleep(30);
}

int call(const char* procedure, int argument) {
    if (std::strcmp(procedure, "beep") == 0) {
        beep(argument);
    } else if (std::strcmp(procedure, "printSummary") == 0) {
        printSummary();
    } else if (std::strcmp(procedure, "sataPortTest") == 0) {
        sataPortTest();
    } else if (std::strcmp(procedure, "portMultiplierRun") == 0) {
        portMultiplierRun(static_cast<unsigned>(argument));
    } else if (std::strcmp(procedure, "rs485ExchangeTest") == 0) {
        for (int i = 0; i < argument; ++i) {
            Rs485ExchangeTest("/dev/ttyS1");
        }
    } else if (std::strcmp(procedure, "panelTestAndReuse") == 0) {
        panelTestAndReuse();
    } else if (std::strcmp(procedure, "initSerialPort") == 0) {
        return initSerialPort();
    } else {
        (void)std::fprintf(stderr, "module_runner: no procedure %s\n", procedure);
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
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
    return next < argc ? call(argv[next], next + 1 < argc ? std::atoi(argv[next + 1]) : 1) : EXIT_FAILURE;
}
