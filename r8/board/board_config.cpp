#include "r8/board/board_config.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include "r8/board/control_device.h"
#include "r8/descriptor.h"
#include "r8/driver/report/report_channel.h"

BoardConfig boardConfig;

namespace {

constexpr unsigned cpldSettleMicroseconds = 100 * 1000;

constexpr uint16_t rs485BoardTypeCodes[] = {0xA197, 0xA207, 0xA19F, 0xA20F, 0xA1AF, 0xA21F, 0xA25F, 0xA247};

bool isPoeSwitch(int mac0Phy) {
    return mac0Phy == 0 || (mac0Phy >= 2 && mac0Phy <= 4);
}

bool isDiskPortCount(int count) {
    return count == 0 || count == 1 || count == 2 || count == 4 || count == 8 || count == 16;
}

void fillBoardConfig(const CpldInfo& info) {
    const bool mac0Used = cpldField(info, cpld.mac0Mode) != 0;
    const int diskPorts = cpldField(info, cpld.diskPortCount);
    const int esataPorts = cpldField(info, cpld.esataPortCount);

    boardConfig.usbPortCount = static_cast<uint32_t>(cpldField(info, cpld.usbCount));
    boardConfig.panelPresent = cpldField(info, cpld.panelType) == 0 ? 1 : 0;
    boardConfig.poeSwitchPresent = mac0Used && isPoeSwitch(cpldField(info, cpld.mac0Phy)) ? 1 : 0;
    boardConfig.netCardCount = mac0Used ? 2 : 1;
    if (isDiskPortCount(diskPorts)) {
        boardConfig.diskPortCount = static_cast<uint8_t>(diskPorts);
    }
    if (esataPorts == 0 || esataPorts == 1) {
        boardConfig.esataPortCount = static_cast<uint8_t>(esataPorts);
    }
    boardConfig.alarmOutCount = static_cast<uint32_t>(cpldField(info, cpld.alarmOutCount));
    boardConfig.alarmInCount = static_cast<uint32_t>(cpldField(info, cpld.alarmInCount));
}

}  // namespace

int loadBoardConfig(int toPipe) {
    const Descriptor device(openControlDevice());
    if (device.number() == -1) {
        (void)reportPrintf(toPipe, "open zorio failed !\n");
        return -1;
    }
    CpldInfo info;
    if (getCpldInfo(device.number(), &info) == -1) {
        (void)reportPrintf(toPipe, "CPLD读取失败,%s", strerror(errno));
        return -1;
    }
    fillBoardConfig(info);
    (void)reportPrintf(toPipe, "设备网卡个数(%d)", static_cast<int>(boardConfig.netCardCount));
    usleep(cpldSettleMicroseconds);
    return 0;
}

void setRs485Present(uint16_t boardTypeCode) {
    boardConfig.rs485Present = 0;
    for (const uint16_t code : rs485BoardTypeCodes) {
        if (code == boardTypeCode) {
            boardConfig.rs485Present = 1;
        }
    }
}
