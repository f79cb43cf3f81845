#include "r8/driver/summary.h"

#include <stdint.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "r8/board/board_config.h"
#include "r8/board/control_device.h"
#include "r8/descriptor.h"
#include "r8/driver/report/report_channel.h"
#include "r8/driver/report/run_results.h"
#include "r8/print.h"

namespace {

constexpr char reportModule[] = "r8";
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
    const Descriptor device(openControlDevice());
    if (device.number() == -1) {
        return {ChipTemp::notObtained, 0};
    }
    ChipTempCheck check = {ChipTemp::abnormal, 0};
    if (ioctl(device.number(), ZORIO_GET_CHIP_TEMP, &check.degrees) != 0) {
        check.state = ChipTemp::notObtained;
    } else if (isNormalChipTemp(check.degrees)) {
        check.state = ChipTemp::normal;
        reportLine("芯片温度正常: %d \n", check.degrees);
    }
    return check;
}

void reportChipTempFailure(const ChipTempCheck& check) {
    if (check.state == ChipTemp::abnormal) {
        reportLine("芯片温度异常: %d \n", check.degrees);
    } else if (check.state == ChipTemp::notObtained) {
        reportLine("芯片温度获取失败: %d \n", check.degrees);
    }
}

bool runPassed(const SummaryItems& items, const ChipTempCheck& chipTemp) {
    for (const SummaryItem& item : items) {
        if (item.consoleLabel != nullptr && item.failed()) {
            return false;
        }
    }
    return chipTemp.state == ChipTemp::notChecked || chipTemp.state == ChipTemp::normal;
}

// "1,3" for mask 0x5: the numbers of the ports without a connection.
void formatPortList(uint32_t mask, char (&list)[portListBytes]) {
    size_t length = 0;
    list[0] = '\0';
    for (int port = 1; mask != 0; ++port, mask >>= 1) {
        if ((mask & 1) != 0) {
            length += formatText(list + length, sizeof list - length, "%d,", port);
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

void reportFailedItem(const char* label, const SummaryItem& item, const char* verdict) {
    if (item.failedPorts == nullptr) {
        reportLine("%s: %s  \n", label, verdict);
        return;
    }
    char ports[portListBytes];
    formatPortList(*item.failedPorts, ports);
    reportLine("%s: 端口%s无连接\n", label, ports);
}

void showFailed(const SummaryItems& items, const ChipTempCheck& chipTemp) {
    for (const SummaryItem& item : items) {
        if (item.consoleLabel != nullptr && item.failed()) {
            reportFailedItem(item.consoleLabel, item, "error occured!");
        }
    }
    reportChipTempFailure(chipTemp);
    setIndicator(0);
    sleep(3);
    setIndicator(1);
}

void reportItems(const SummaryItems& items, const ChipTempCheck& chipTemp) {
    for (const SummaryItem& item : items) {
        if (item.reportLabel == nullptr) {
            continue;
        }
        if (item.failed()) {
            reportFailedItem(item.reportLabel, item, "失败");
        } else {
            reportLine("%s: %s  \n", item.reportLabel, "成功");
        }
    }
    reportChipTempFailure(chipTemp);
    reportLine("Rtc时钟       : %s  \n", "由检测人员判断");
}

}  // namespace

void printSummary(const SummaryItems& items) {
    reportLine("----------------------------------------------------------------\nR8测试结果如下:\n");
    reportLine("USB口       : %d  \nSATA口      : %d  \n", static_cast<int>(runResults.usbFoundCount),
               static_cast<int>(runResults.sataFoundCount));
    const ChipTempCheck chipTemp = checkChipTemp();
    if (consoleMode == 0) {
        reportItems(items, chipTemp);
    } else if (runPassed(items, chipTemp)) {
        showPassed();
    } else {
        showFailed(items, chipTemp);
    }
    reportLine("----------------------------------------------------------------\n");
}
