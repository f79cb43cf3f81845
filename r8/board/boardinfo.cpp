#include "r8/board/boardinfo.h"

#include <unistd.h>

#include "r8/board/board_config.h"
#include "r8/descriptor.h"
#include "r8/driver/report/report_channel.h"
#include "r8/driver/report/run_results.h"
#include "r8/print.h"

namespace {

constexpr char reportModule[] = "boardinfo";
constexpr unsigned cpldSettleMicroseconds = 100 * 1000;

// What is printed for a field: the lines of its known codes, from code 0 on, and the label of any other code.
struct ValueLines {
    CpldField field;
    const char* label;
    const char* known[4];
};

constexpr ValueLines chipTypeLines = {cpld.chipType, "芯片:", {"NB-5071-3\n"}};
constexpr ValueLines armClockLines = {cpld.armClock, "ARM主频:", {"ARM主频:1000MHz\n"}};
constexpr ValueLines sdramClockLines = {cpld.sdramClock, "SDRAM频率:", {"SDRAM频率:800MHz\n"}};
constexpr ValueLines memoryTypeLines = {
    cpld.memoryType,
    "控制器位宽:",
    {"1GB(2片4Gb,1个32bit接口)\n", "512MB(2片2Gb,1个32bit接口)\n", "2GB(1片8Gb,1个32bit接口)\n"}};
constexpr ValueLines talkbackLines = {cpld.talkback, "语音对讲:", {"语音对讲:0\n", "语音对讲:1\n"}};
constexpr ValueLines mac0ModeLines = {
    cpld.mac0Mode, "MAC0模式:", {"MAC0模式:关闭\n", "MAC0模式:MII\n", "MAC0模式:RMII\n", "MAC0模式:RGMII\n"}};
constexpr ValueLines mac1ModeLines = {
    cpld.mac1Mode, "MAC1模式:", {"MAC1模式:关闭\n", "MAC1模式:MII\n", "MAC1模式:RMII\n", "MAC1模式:RGMII\n"}};
constexpr ValueLines mac0PhyLines = {
    cpld.mac0Phy, "MAC0:", {"MAC0:RTL8309M\n", "MAC0:RTL8211E\n", "MAC0:IP1818+IP108A\n", "MAC0:RTL8306M\n"}};
constexpr ValueLines mac1PhyLines = {cpld.mac1Phy, "MAC1:", {"MAC1:RTL8211E\n"}};
constexpr ValueLines sataPmChipLines = {
    cpld.sataPmChip, "SATA PM芯片类型:", {"SATA PM芯片类型:无PM芯片\n", "SATA PM芯片类型:88E9705\n"}};
constexpr ValueLines panelTypeLines = {
    cpld.panelType, "面板类型:", {"面板类型:有按键面板\n", "面板类型:无按键面板\n"}};
constexpr ValueLines deviceTypeLines = {
    cpld.deviceType, "设备类型:", {"设备类型:DVR\n", "设备类型:DVS\n", "设备类型:NVR\n"}};

void printValue(const CpldInfo& info, const ValueLines& lines) {
    const int code = cpldField(info, lines.field);
    const int listed = static_cast<int>(sizeof lines.known / sizeof lines.known[0]);
    if (code < listed && lines.known[code] != nullptr) {
        reportLine("%s", lines.known[code]);
    } else {
        reportLine("%s%#x未知\n", lines.label, static_cast<unsigned>(code));
    }
}

const char* flashTypeText(int code) {
    return code == 0 ? "SPI NOR FLASH" : "未知";
}

const char* flashSizeText(int code) {
    constexpr const char* sizes[] = {"16MB", "8MB"};
    return code < 2 ? sizes[code] : "未知";
}

// Packed from bit 0: day units (4 bits) and tens (2), month (4, plain), year units (4) and tens (2).
void printCpldDate(int date) {
    const int day = (date & 0xF) + 10 * (date >> 4 & 0x3);
    const int month = date >> 6 & 0xF;
    const int year = (date >> 10 & 0xF) + 10 * (date >> 14 & 0x3);
    reportLine("CPLD Date:%d年%d月%d日.\n", year, month, day);
}

// Counts above 5 have no line and stay as the board configuration set them; 3 and 5 are taken for a mistake
// in the CPLD.
void printDiskPortCount(int count) {
    if (count > 5) {
        return;
    }
    if (count == 3 || count == 5) {
        reportLine("CPLD 信息错误\n");
    } else {
        boardConfig.diskPortCount = static_cast<uint8_t>(count);
    }
    reportLine("硬盘接口数量:%d\n", count);
}

}  // namespace

int cpldInfoStep() {
    const Descriptor device(openControlDevice());
    if (device.number() == -1) {
        print("sysInit 1 Fatal\n");
        runResults.cpldOk = 0;
        return -1;
    }
    CpldInfo info;
    if (getCpldInfo(device.number(), &info) == -1) {
        runResults.cpldOk = 0;
        return -1;
    }
    usleep(cpldSettleMicroseconds);
    PrintCpldInfo(&info);
    return 0;
}

void PrintCpldInfo(const CpldInfo* info) {
    const auto value = [info](CpldField field) { return cpldField(*info, field); };

    reportLine("=============== CPLD INFO ===============\n");
    reportLine("pcb:QM-0x%d\n", value(cpld.pcbNumber));  // decimal behind the 0x: so the labels have it
    printValue(*info, chipTypeLines);
    printValue(*info, armClockLines);
    printValue(*info, sdramClockLines);
    printValue(*info, memoryTypeLines);
    reportLine("FLASH类型:%s\n", flashTypeText(value(cpld.flashType)));
    reportLine("FLASH:%s\n", flashSizeText(value(cpld.flashSize)));
    reportLine("VGA输出个数:%d\n", value(cpld.vgaOutCount));
    reportLine("hdmi输出个数:%d\n", value(cpld.hdmiOutCount));
    reportLine("cvbs输出个数:%d\n", value(cpld.cvbsOutCount));
    printCpldDate(value(cpld.cpldDate));
    reportLine("音频输入个数:%d\n", value(cpld.audioInCount));
    printValue(*info, talkbackLines);
    reportLine("音频输出个数:%d\n", value(cpld.audioOutCount));
    printValue(*info, mac0ModeLines);
    printValue(*info, mac1ModeLines);
    printValue(*info, mac0PhyLines);
    printValue(*info, mac1PhyLines);
    reportLine("支持RS232个数:%d\n", value(cpld.rs232Count));
    reportLine("支持RS485个数:%d\n", value(cpld.rs485Count));
    if (value(cpld.rs485Count) != 0) {
        reportLine("RS485类型:%s\n", value(cpld.rs485Duplex) == 0 ? "全双工" : "半双工");
    }
    printDiskPortCount(value(cpld.diskPortCount));
    printValue(*info, sataPmChipLines);
    reportLine("USB个数:%d\n", value(cpld.usbCount));
    printValue(*info, panelTypeLines);
    printValue(*info, deviceTypeLines);
    reportLine("报警输入个数:%d\n", value(cpld.alarmInCount));
    reportLine("报警输出个数:%d\n", value(cpld.alarmOutCount));
    reportLine("phy0 id:%d\n", value(cpld.phy0Id));
    reportLine("phy1 id:%d\n", value(cpld.phy1Id));
}
