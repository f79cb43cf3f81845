#include "station/product/value_rows.h"

namespace station {

namespace {

using enum ValueKind;
using enum Suggestion;

constexpr WordsView cardName = {"网卡{}", "card {}"};
constexpr WordsView diskName = {"U盘{}", "USB disk {}"};
constexpr WordsView driveName = {"硬盘{}", "drive {}"};
constexpr WordsView pairName = {"第{}次读时钟", "clock reading {}"};
constexpr WordsView plain = {"{}", "{}"};

constexpr ValueRow label(std::string_view key, std::string_view path, std::string_view english,
                         ValueKind kind = text, Suggestion suggestion = same) {
    return {"cpld", "", key, path, kind, {path, english}, plain, suggestion};
}

constexpr ValueRow rows[] = {
    {"network", "", "cards", "cards", number, {"网卡个数", "number of cards"}, plain},
    {"network", "cards", "poe", "poe", flag, cardName, plain, none, {"是POE网卡", "a PoE card, not tested"},
     {"不是POE网卡", "not a PoE card"}},
    {"network", "cards", "link", "link", flag, cardName, plain, none, {"已连接", "link"}, {"未连接", "no link"}},
    {"network", "cards", "speedMbit", "speedMbit", number, cardName, {"{}M", "{} Mb/s"}},
    {"network", "cards", "duplex", "duplex", text, cardName, plain},
    {"rs485", "", "trialsPassed", "trialsPassed", number, {"485成功次数", "RS485 trials passed"}, plain, atLeast},
    {"rs485", "", "trialsFailed", "trialsFailed", number, {"485错误次数", "RS485 trials failed"}, plain},
    {"alarm", "", "inputs", "inputs", number, {"报警输入个数", "alarm inputs"}, plain},
    {"alarm", "", "outputs", "outputs", number, {"报警输出个数", "alarm outputs"}, plain},
    {"alarm", "", "checksPassed", "checksPassed", number, {"报警检查成功次数", "alarm checks passed"}, plain, atLeast},
    {"alarm", "", "checksFailed", "checksFailed", number, {"报警检查失败次数", "alarm checks failed"}, plain},
    {"usb", "", "found", "found", number, {"USB设备个数", "USB devices"}, plain},
    {"usb", "", "usb3", "usb3", flag, {"USB 3.0", "USB 3.0"}, plain, same, {"有设备", "a device"},
     {"没有设备", "no device"}},
    {"usb", "", "disks", "disks", number, {"U盘个数", "USB disks"}, plain},
    {"usb", "disks", "freeMiB", "freeMiB", number, diskName, {"剩余 {} MiB", "{} MiB free"}, atLeast},
    label("pcb", "pcb", "PCB"),
    label("chip", "board.chip", "chip"),
    label("armClock", "ARM主频", "ARM clock"),
    label("sdramClock", "SDRAM频率", "SDRAM clock"),
    label("memory", "board.memory", "memory"),
    label("flashType", "FLASH类型", "flash type"),
    label("flash", "FLASH", "flash"),
    label("vgaOutputs", "VGA输出个数", "VGA outputs", number),
    label("hdmiOutputs", "hdmi输出个数", "HDMI outputs", number),
    label("cvbsOutputs", "cvbs输出个数", "CVBS outputs", number),
    label("firmwareDate", "CPLD Date", "CPLD date", date, atLeast),
    label("audioInputs", "音频输入个数", "audio inputs", number),
    label("talkback", "语音对讲", "talkback", number),
    label("audioOutputs", "音频输出个数", "audio outputs", number),
    label("mac0Mode", "MAC0模式", "MAC 0 mode"),
    label("mac1Mode", "MAC1模式", "MAC 1 mode"),
    label("mac0Phy", "MAC0", "MAC 0 PHY"),
    label("mac1Phy", "MAC1", "MAC 1 PHY"),
    label("rs232Ports", "支持RS232个数", "RS232 ports", number),
    label("rs485Ports", "支持RS485个数", "RS485 ports", number),
    label("rs485Type", "RS485类型", "RS485 type"),
    label("drivePorts", "硬盘接口数量", "drive ports", number),
    label("portMultiplier", "SATA PM芯片类型", "port multiplier"),
    label("usbPorts", "USB个数", "USB ports", number),
    label("panelType", "面板类型", "panel type"),
    label("deviceType", "设备类型", "device type"),
    label("alarmInputs", "报警输入个数", "alarm inputs", number),
    label("alarmOutputs", "报警输出个数", "alarm outputs", number),
    label("phy0Id", "phy0 id", "PHY 0 id", number),
    label("phy1Id", "phy1 id", "PHY 1 id", number),
    {"sata", "", "ports", "expected", number, {"内部硬盘接口个数", "internal drive ports"}, plain},
    {"sata", "", "drives", "drives", number, {"硬盘个数", "drives"}, plain},
    {"sata", "drives", "capacityGiB", "capacityGiB", number, driveName, {"容量 {} GiB", "capacity {} GiB"}, atLeast},
    {"sata", "drives", "model", "model", text, driveName, {"型号 {}", "model {}"}},
    {"sata", "drives", "firmware", "firmware", text, driveName, {"固件 {}", "firmware {}"}},
    {"sata", "drives", "serial", "serial", text, driveName, {"序列号 {}", "serial number {}"}, none},
    {"clock", "", "pairs", "pairs", number, {"时钟读数个数", "clock readings"}, plain},
    {"clock", "pairs", "differenceSeconds", "differenceSeconds", number, pairName,
     {"相差 {} 秒", "off by {} s"}, near},
    {"chip-temperature", "", "celsius", "celsius", number, {"芯片温度", "chip temperature"}, {"{} °C", "{} °C"}, near},
    {"front-panel", "", "answers", "answers", number, {"面板应答次数", "panel answers"}, plain, atLeast},
    {"rs485-loopback", "", "blocks", "blocks", number, {"485回环次数", "loop-back blocks"}, plain, atLeast},
    {"rs485-loopback", "", "matchedBytes", "matchedBytes", number, {"485回环正确字节", "loop-back bytes that match"},
     plain, atLeast},
    {"rs485-loopback", "", "mismatchedBytes", "mismatchedBytes", number,
     {"485回环错误字节", "loop-back bytes that differ"}, plain, atMost},
    {"watchdog", "", "restartSeconds", "restartSeconds", number, {"重新启动", "restart"}, {"{} 秒", "{} s"}, none},
    {"pm-firmware", "", "chipsPassed", "chipsPassed", number, {"PM芯片成功个数", "chips passed"}, plain, atLeast},
    {"pm-firmware", "", "chipsFailed", "chipsFailed", number, {"PM芯片失败个数", "chips failed"}, plain},
    {"pm-firmware", "", "chipsNotTested", "chipsNotTested", number, {"PM芯片未测个数", "chips not tested"}, plain},
};

constexpr ElementRow elements[] = {
    {"network", "cards", "card", "card"},
    {"usb", "disks", "disk", "device"},
    {"sata", "drives", "drive", "device"},
};

}  // namespace

std::span<const ValueRow> valueRows() {
    return rows;
}

std::span<const ElementRow> elementRows() {
    return elements;
}

}  // namespace station
