#include "r8/driver/summary.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "r8/board/board_config.h"
#include "r8/board/control_device.h"
#include "r8/driver/report/report_channel.h"
#include "r8/driver/report/run_results.h"

namespace {

constexpr char reportModule[] = "r8";
constexpr char errorText[] = "error occured!";
constexpr size_t portListBytes = 256;
constexpr unsigned millisecond = 1000;  // in microseconds

enum class ChipTemp { notChecked, normal, abnormal, notObtained };

struct ChipTempCheck {
    ChipTemp state;
    int8_t degrees;
};

// -4 to 69 degrees are normal: the byte plus 4, modulo 256, is at most 73 then.
bool isNormalChipTemp(int8_t degrees) {
    return static_cast<uint8_t>(degrees + 4) <= 73;
}

ChipTempCheck checkChipTemp() {
    if (boardConfig.chipTempCheckEnabled == 0) {
        return {ChipTemp::notChecked, 0};
    }
    const int fd = openControlDevice();
    if (fd == -1) {
        return {ChipTemp::notObtained, 0};
    }
    ChipTempCheck check = {ChipTemp::abnormal, 0};
    if (ioctl(fd, ZORIO_GET_CHIP_TEMP, &check.degrees) != 0) {
        check.state = ChipTemp::notObtained;
    } else if (isNormalChipTemp(check.degrees)) {
        check.state = ChipTemp::normal;
        reportLine("芯片温度正常: %d \n", check.degrees);
    }
    (void)close(fd);
    return check;
}

void reportChipTempFailure(const ChipTempCheck& check) {
    if (check.state == ChipTemp::abnormal) {
        reportLine("芯片温度异常: %d \n", check.degrees);
    } else if (check.state == ChipTemp::notObtained) {
        reportLine("芯片温度获取失败: %d \n", check.degrees);
    }
}

bool usbFailed() {
    return runResults.usbFoundCount != boardConfig.usbPortCount;
}

// The clock is judged by the operator in networked mode. The CPLD step has a line there, but no say.
bool runPassed(const ChipTempCheck& chipTemp) {
    const bool clockFailed = runResults.rtcFailed != 0 && consoleMode != 0;
    const bool chipTempFailed =
        chipTemp.state == ChipTemp::abnormal || chipTemp.state == ChipTemp::notObtained;
    return runResults.networkFailed == 0 && runResults.rs485Failed == 0 && runResults.alarmFailed == 0 &&
           !clockFailed && !usbFailed() && runResults.sataFailedMask == 0 && !chipTempFailed;
}

// "1,3" for mask 0x5: the numbers of the ports without a connection.
void formatPortList(uint32_t mask, char (&list)[portListBytes]) {
    size_t length = 0;
    list[0] = '\0';
    for (int port = 1; mask != 0; ++port, mask >>= 1) {
        if ((mask & 1) != 0) {
            length += static_cast<size_t>(snprintf(list + length, sizeof list - length, "%d,", port));
        }
    }
    if (length != 0) {
        list[length - 1] = '\0';
    }
}

void signalIndicator(int pulses, unsigned lowMilliseconds, unsigned highMilliseconds) {
    for (int pulse = 0; pulse < pulses; ++pulse) {
        setIndicator(0);
        usleep(lowMilliseconds * millisecond);
        setIndicator(1);
        usleep(highMilliseconds * millisecond);
    }
}

void showPassed() {
    reportLine("测试结果:  OK!\n");
    for (int round = 0; round < 2; ++round) {
        signalIndicator(3, 300, 100);
        signalIndicator(3, 100, 100);
        sleep(2);
    }
}

void showFailed(const ChipTempCheck& chipTemp) {
    if (runResults.networkFailed != 0) {
        reportLine("网络状态    : %s  \n", errorText);
    }
    if (runResults.rs485Failed != 0) {
        reportLine("485口       : %s  \n", errorText);
    }
    if (runResults.alarmFailed != 0) {
        reportLine("报警口      : %s  \n", errorText);
    }
    if (runResults.rtcFailed != 0) {
        reportLine("Rtc时钟     : %s  \n", errorText);
    }
    if (usbFailed()) {
        reportLine("USB口       : %s  \n", errorText);
    }
    if (runResults.sataFailedMask != 0) {
        char ports[portListBytes];
        formatPortList(runResults.sataFailedMask, ports);
        reportLine("SATA口      : 端口%s无连接\n", ports);
    }
    reportChipTempFailure(chipTemp);
    setIndicator(0);
    sleep(3);
    setIndicator(1);
}

const char* verdict(bool passed) {
    return passed ? "成功" : "失败";
}

void reportItems(const ChipTempCheck& chipTemp) {
    reportLine("网络状态      : %s  \n", verdict(runResults.networkFailed == 0));
    reportLine("485口       : %s  \n", verdict(runResults.rs485Failed == 0));
    reportLine("报警口      : %s  \n", verdict(runResults.alarmFailed == 0));
    reportLine("USB口       : %s  \n", verdict(!usbFailed()));
    reportLine("CPLD       : %s  \n", verdict(runResults.cpldOk != 0));
    if (runResults.sataFailedMask != 0) {
        char ports[portListBytes];
        formatPortList(runResults.sataFailedMask, ports);
        reportLine("SATA口       : 端口%s无连接\n", ports);
    } else {
        reportLine("SATA口       : 成功  \n");
    }
    reportChipTempFailure(chipTemp);
    reportLine("Rtc时钟       : %s  \n", "由检测人员判断");
}

}  // namespace

void printSummary() {
    reportLine("----------------------------------------------------------------\nR8测试结果如下:\n");
    reportLine("USB口       : %d  \nSATA口      : %d  \n", static_cast<int>(runResults.usbFoundCount),
               static_cast<int>(runResults.sataFoundCount));
    const ChipTempCheck chipTemp = checkChipTemp();
    if (consoleMode == 0) {
        reportItems(chipTemp);
    } else if (runPassed(chipTemp)) {
        showPassed();
    } else {
        showFailed(chipTemp);
    }
    reportLine("----------------------------------------------------------------\n");
}
