#include "station/interpret/summary_lines.h"

#include <algorithm>

#include "station/interpret/items.h"
#include "station/interpret/step_lines.h"
#include "station/interpret/text.h"

namespace station {

namespace {

constexpr std::string_view frameTexts[] = {"", "R8测试结果如下:", "R8测试结束", endMarker};

// "芯片温度正常: 40 ": the only verdict that comes with its value. True when the line is one of the three.
bool readChipTemperature(TestRun& run, std::string_view line) {
    constexpr std::string_view texts[] = {"芯片温度正常: ", "芯片温度异常: ", "芯片温度获取失败: "};
    Item& item = run.items[chipTemperatureItem];
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
            std::get<chipTemperatureItem>(run.measured).celsius = degrees;
        }
        return true;
    }
    return false;
}

}  // namespace

bool isRule(std::string_view line) {
    return line.size() >= 64 && line.find_first_not_of('-') == std::string_view::npos;
}

// "USB口       : 4  " counts, "USB口       : 成功  " judges, "SATA口       : 端口1,3无连接" names ports.
void readSummaryLine(TestRun& run, std::string_view line) {
    const bool isFrame = isRule(line) || std::find(std::begin(frameTexts), std::end(frameTexts),
                                                   trimmed(line)) != std::end(frameTexts);
    if (isFrame || readChipTemperature(run, line)) {
        return;
    }
    const std::size_t colon = std::min(line.find(':'), line.size());
    const ItemRow* const row = itemWith(&ItemRow::title, trimmed(line.substr(0, colon)));
    const std::string_view verdict = trimmed(line.substr(std::min(colon + 1, line.size())));
    if (row == nullptr || row->readVerdict == nullptr ||
        !row->readVerdict(run, run.items[row->index], verdict)) {
        run.addUnknown(trimmed(line));
    }
}

void readConsoleLine(TestRun& run, std::string_view line) {
    // Trial messages come without line breaks, so any text may stand before.
    for (std::size_t at = 0; (at = line.find("write error file = ", at)) != std::string_view::npos; ++at) {
        ++run.lostLines;
    }
    std::int64_t first = 0;
    std::int64_t second = 0;
    if (LineScanner scan{line}; scan.text("网卡").number(first).text(" mac地址:")) {
        run.board.macs.emplace_back(trimmed(scan.rest));
    }
    LineScanner scan{line.substr(std::min(line.find("RS485测试成功次数为 "), line.size()))};
    if (scan.text("RS485测试成功次数为 ").number(first).text("，错误次数为 ").number(second)) {
        std::get<rs485Item>(run.measured) = {first, second};
        if (second != 0) {
            run.items[rs485Item].contradiction = std::to_string(second) + " trials failed";
        }
    }
    // What the tool could not look at, and what it could not learn of its board and so leaves out: no verdict
    // of its summary says so.
    constexpr std::pair<std::string_view, ItemIndex> notSeen[] = {
        {"open /dev/iop failed", alarmItem},
        {"IOCTL ERROR", alarmItem},
        {"open zorio failed !", cpldItem},
        {"CPLD读取失败", cpldItem},
        {"ioctl ZORIO_GET_BOOT_PARMS error", cpldItem},
    };
    for (const auto& [text, item] : notSeen) {
        if (line.find(text) != std::string_view::npos) {
            run.items[item].announced = true;
            run.items[item].contradiction = text;
        }
    }
}

}  // namespace station
