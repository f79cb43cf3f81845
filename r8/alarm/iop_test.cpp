#include "r8/alarm/iop_test.h"

#include <signal.h>
#include <stdint.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>

#include "r8/board/board_config.h"
#include "r8/board/buzzer_watchdog.h"
#include "r8/board/control_device.h"
#include "r8/descriptor.h"
#include "r8/driver/report/report_channel.h"
#include "r8/driver/report/run_results.h"
#include "r8/print.h"

namespace {

constexpr char reportModule[] = "iop_test";
constexpr unsigned settleSeconds4 = 5;
constexpr unsigned settleSeconds16 = 2;
constexpr unsigned firstFourInputs = 0xF;
constexpr unsigned allInputs = 0xFFFF;

std::atomic<uint32_t> iopSuccessCount{0};  // read by the interrupt handler
std::atomic<uint32_t> iopErrorCount{0};

void iopInterruptHandler(int number) {
    print("success is %u, and error is %u\n", iopSuccessCount.load(), iopErrorCount.load());
    (void)signal(number, SIG_DFL);
    (void)raise(number);
}

void countError() {
    iopErrorCount.fetch_add(1);
    runResults.alarmFailed = 1;
}

void countSuccess() {
    iopSuccessCount.fetch_add(1);
}

bool hasAlarmLines() {
    if (boardConfig.alarmOutCount == 0 || boardConfig.alarmInCount == 0) {
        reportLine("设备没有报警输入或输出接口\n");
        return false;
    }
    return true;
}

// The handler stays for the rest of the run: an interrupt later on prints the counters all the same.
int openAlarmLines() {
    (void)signal(SIGINT, iopInterruptHandler);
    const int fd = openControlDevice();
    if (fd == -1) {
        print("open /dev/iop failed\n");
        return -1;
    }
    uint32_t start = 0;
    (void)ioctl(fd, ZORIO_ALARM_INIT, &start);  // a driver that failed shows in the checks
    return fd;
}

void driveOutputs(int fd, uint8_t pattern, unsigned settleSeconds) {
    (void)ioctl(fd, ZORIO_SET_ALARM_OUT, &pattern);  // outputs that do not follow show at the inputs
    sleep(settleSeconds);
}

// A failed read leaves *inputs as it was, and the check judges that.
bool readInputs(int fd, uint16_t* inputs) {
    return ioctl(fd, ZORIO_GET_ALARM_IN, inputs) >= 0;
}

// The fixture's wiring: which inputs one output drives, and which of them are looked at.
struct Wiring {
    unsigned comparedInputs;
    unsigned inputsOfFirstOutput;  // output k drives these, k - 1 inputs further on
};

Wiring wiring16() {
    if (boardConfig.alarmOutCount == 2) {
        return {firstFourInputs, 0x5};
    }
    if (boardConfig.alarmOutCount == 4) {
        return {allInputs, 0x1111};
    }
    return {0, 0};  // unknown wiring: every step passes
}

bool isLastOutput(uint8_t pattern) {
    return (boardConfig.alarmOutCount == 4 && pattern == 8) ||
           (boardConfig.alarmOutCount == 2 && pattern == 2);
}

void reportOffError(unsigned inputs) {
    reportLine("\n 断开报警输出时, 报警输入为 %x ，报警输入应为 0\n", inputs);
    countError();
}

void reportOnError(unsigned outputs, unsigned inputs, unsigned expected) {
    reportLine("\n 报警输出为 %x, 报警输入为 %x ，报警输入应为 %x\n", outputs, inputs, expected);
    countError();
    beep(2);
}

void readInputs16(int fd, uint16_t* inputs) {
    if (!readInputs(fd, inputs)) {
        reportLine("IOCTL ERROR\n");
    }
}

void checkOutputsOff16(int fd, uint16_t* inputs) {
    driveOutputs(fd, 0, settleSeconds16);
    readInputs16(fd, inputs);
    if (*inputs != 0) {
        reportOffError(*inputs);
    } else {
        countSuccess();
        reportLine("\n 断开报警输出时, 报警输入正常\n");
    }
}

void checkOutput16(int fd, uint8_t pattern, uint16_t* inputs) {
    driveOutputs(fd, pattern, settleSeconds16);
    readInputs16(fd, inputs);
    const Wiring wiring = wiring16();
    const unsigned expected = pattern * wiring.inputsOfFirstOutput & wiring.comparedInputs;
    if ((*inputs & wiring.comparedInputs) != expected) {
        reportOnError(pattern, *inputs, expected);
    } else {
        countSuccess();
    }
}

int iopTest4() {
    iopSuccessCount = 0;
    iopErrorCount = 0;
    if (!hasAlarmLines()) {
        return 0;
    }
    const Descriptor lines(openAlarmLines());
    const int fd = lines.number();
    if (fd == -1) {
        return -1;
    }
    uint16_t inputs = 0;
    driveOutputs(fd, 0, settleSeconds4);
    if (!readInputs(fd, &inputs)) {
        print("IOCTL ERROR\n");
    }
    if ((inputs & firstFourInputs) != 0) {
        reportOffError(inputs & firstFourInputs);
    } else {
        countSuccess();
    }

    driveOutputs(fd, 1, settleSeconds4);
    (void)readInputs(fd, &inputs);
    if ((inputs & firstFourInputs) != firstFourInputs) {
        reportOnError(1, inputs & firstFourInputs, firstFourInputs);
    } else {
        countSuccess();
    }
    reportLine("\n 报警输出为 1，报警输入(1-4), 成功 %u, 失败 %u\n", iopSuccessCount.load(),
               iopErrorCount.load());
    return static_cast<int>(iopErrorCount);
}

int iopTest16() {
    iopSuccessCount = 0;
    iopErrorCount = 0;
    if (!hasAlarmLines()) {
        return 0;
    }
    reportLine("报警输入有%d个,报警输出有%d个\n", static_cast<int>(boardConfig.alarmInCount),
               static_cast<int>(boardConfig.alarmOutCount));
    const Descriptor lines(openAlarmLines());
    const int fd = lines.number();
    if (fd == -1) {
        return -1;
    }
    uint16_t inputs = 0;
    checkOutputsOff16(fd, &inputs);
    uint8_t pattern = 1;
    checkOutput16(fd, pattern, &inputs);
    while (!isLastOutput(pattern)) {
        pattern = static_cast<uint8_t>(pattern << 1);  // 0 after the eighth output
        checkOutput16(fd, pattern, &inputs);
    }
    reportLine("成功 %u, 失败 %u\n", iopSuccessCount.load(), iopErrorCount.load());
    return static_cast<int>(iopErrorCount);
}

}  // namespace

int iopTest() {
    if (boardConfig.alarmInCount == 4) {
        (void)iopTest4();
    } else if (boardConfig.alarmInCount == 16) {
        (void)iopTest16();
    }
    return 0;
}
