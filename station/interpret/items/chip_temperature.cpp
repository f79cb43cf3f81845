#include "station/interpret/items.h"
#include "station/interpret/text.h"

namespace station {

namespace {

// "芯片温度正常: 40 ": the only verdict that comes with its value. True when the line is one of the three.
bool readSummaryLine(TestRun& run, std::string_view line) {
    constexpr std::string_view texts[] = {"芯片温度正常: ", "芯片温度异常: ", "芯片温度获取失败: "};
    Item& item = run.item<ChipTemperature>();
    for (const std::string_view text : texts) {
        LineScanner scan{line};
        std::int64_t degrees = 0;
        if (!scan.text(text)) {
            continue;
        }
        if (!scan.number(degrees) || !trimmed(scan.rest).empty()) {
            return false;
        }
        item.checked = item.announced = true;
        item.verdict = item.verdict.value_or(true) && text == texts[0];
        item.reason = *item.verdict ? "" : trimmed(line);
        if (text != texts[2]) {
            run.values<ChipTemperature>().celsius = degrees;
        }
        return true;
    }
    return false;
}

}  // namespace

const ItemRow ChipTemperature::row = {
    .name = "chip-temperature",
    .title = "芯片温度",
    .english = "Chip temperature",
    .presence = Presence::whereNamed,
    .readVerdict = nullptr,
    .readSummaryLine = readSummaryLine,
};

}  // namespace station
