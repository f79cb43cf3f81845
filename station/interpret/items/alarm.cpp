#include <algorithm>

#include "station/interpret/items.h"
#include "station/interpret/text.h"

namespace station {

namespace {

constexpr std::array<std::string_view, 6> alarmTexts = {
    "报警输入有", "断开报警输出时", "报警输出为", "设备没有报警输入或输出接口", "成功 ", "IOCTL ERROR",
};

// "报警输入有16个,报警输出有4个", "成功 5, 失败 0", and the states that were expected to differ
void readLine(TestRun& run, std::string_view line) {
    Item& item = run.item<Alarm>();
    Alarm& alarm = run.values<Alarm>();
    const std::string_view text = trimmed(line);
    std::int64_t first = 0;
    std::int64_t second = 0;
    const std::size_t counts = text.find("成功 ");
    if (LineScanner scan{text}; scan.text("报警输入有").number(first).text("个,报警输出有").number(second)) {
        alarm.inputs = first;
        alarm.outputs = second;
    } else if (text.starts_with("报警输入有")) {
        markBroken(item, line);
    } else if (counts != std::string_view::npos) {
        LineScanner numbers{text.substr(counts)};
        if (!numbers.text("成功 ").number(first).text(", 失败 ").number(second) || !numbers.rest.empty()) {
            return markBroken(item, line);
        }
        item.checked = item.checked || first != 0 || second != 0;
        alarm.checksPassed = first;
        alarm.checksFailed = second;
        item.contradiction = second != 0 ? text : item.contradiction;
    } else if (text.find("报警输入应为") != std::string_view::npos) {
        item.checked = true;
        alarm.mismatches.emplace_back(text);
        item.contradiction = text;
    } else if (text.find("IOCTL ERROR") != std::string_view::npos) {
        item.contradiction = text;
    }
}

void readConsole(TestRun& run, std::string_view line) {
    markNotSeen(run.item<Alarm>(), line, {"open /dev/iop failed", "IOCTL ERROR"});
}

std::string idle(const TestRun& run) {
    const Item& item = run.item<Alarm>();
    return item.announced && !item.checked && !run.values<Alarm>().inputs ? "nothing was checked" : "";
}

}  // namespace

bool isAlarmLine(std::string_view line) {
    return std::any_of(alarmTexts.begin(), alarmTexts.end(),
                       [&](std::string_view text) { return trimmed(line).starts_with(text); });
}

const ItemRow Alarm::row = {
    .name = "alarm",
    .title = "报警口",
    .english = "Alarm inputs and outputs",
    .presence = Presence::dependsOnBoard,
    .readLine = readLine,
    .readConsole = readConsole,
    .idle = idle,
    .singleTest = 5,
};

}  // namespace station
