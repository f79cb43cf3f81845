#include "station/interpret/items.h"

#include <algorithm>
#include <utility>

#include "station/interpret/step_lines.h"
#include "station/interpret/storage_lines.h"
#include "station/interpret/verdict_words.h"

namespace station {

constexpr std::array<ItemRow, itemCount> itemRows = {{
    {networkItem, "network", "网络状态", "网络状态", "Network", false, readNetworkLine, readVerdict, nullptr,
     networkLacks},
    {rs485Item, "rs485", "485口", "485测试", "RS485", false, readRs485Line, readVerdict, nullptr, nullptr},
    {alarmItem, "alarm", "报警口", "", "Alarm inputs and outputs", false, readAlarmLine, readVerdict,
     alarmIdle, nullptr},
    {usbItem, "usb", "USB口", "USB口测试", "USB ports", true, readUsbLine, readUsbVerdict, usbIdle, usbLacks},
    {cpldItem, "cpld", "CPLD", "CPLD信息", "Board description", true, readBoardLine, readVerdict, nullptr,
     nullptr},
    {sataItem, "sata", "SATA口", "SATA硬盘测试", "SATA ports", true, readSataLine, readSataVerdict, sataIdle,
     sataLacks},
    {clockItem, "clock", "Rtc时钟", "开始测试RTC", "Real-time clock", true, readClockLine, readClockVerdict,
     nullptr, nullptr},
    {chipTemperatureItem, "chip-temperature", "芯片温度", "", "Chip temperature", false, nullptr, nullptr,
     nullptr, nullptr},
}};

namespace {

constexpr bool inOrder() {
    for (std::size_t i = 0; i < itemCount; ++i) {
        if (itemRows[i].index != i) {
            return false;
        }
    }
    return true;
}
static_assert(inOrder(), "a row for each item, in the order of ItemIndex");

}  // namespace

const ItemRow* itemWith(std::string_view ItemRow::*field, std::string_view text) {
    const auto found = std::find_if(itemRows.begin(), itemRows.end(),
                                    [&](const ItemRow& row) { return row.*field == text; });
    return found == itemRows.end() || text.empty() ? nullptr : found;
}

std::string_view englishName(std::string_view name) {
    constexpr std::pair<std::string_view, std::string_view> others[] = {
        {"preparation", "Preparation"},
        {"buzzer", "Buzzer"},
        {"summary", "Summary"},
    };
    if (const ItemRow* const row = itemWith(&ItemRow::name, name)) {
        return row->english;
    }
    for (const auto& [known, english] : others) {
        if (known == name) {
            return english;
        }
    }
    return "";
}

}  // namespace station
