#include "station/interpret/step_lines.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "station/interpret/text.h"

namespace station {

namespace {

constexpr std::array<std::string_view, 6> alarmTexts = {
    "报警输入有", "断开报警输出时", "报警输出为", "设备没有报警输入或输出接口", "成功 ", "IOCTL ERROR",
};
constexpr std::int64_t goodSpeedMbit = 1000;

void readCardLink(Item& item, std::int64_t number, std::string_view state, Network& network) {
    Card card;
    card.number = number;
    card.poe = state == "是POE网卡，不检测!";
    if (state == "网络连接接通" || state == "网络连接断开") {
        card.link = state == "网络连接接通";
    } else if (!card.poe) {
        card.error = state;
    }
    if (card.link == false) {
        item.contradiction = "card " + std::to_string(number) + " has no link";
    }
    item.checked = true;
    network.cards.push_back(card);
}

void readSpeed(Item& item, std::string_view line, Card& card) {
    std::int64_t speed = 0;
    LineScanner scan{trimmed(line.substr(std::string_view("全双工").size()))};
    card.fullDuplex = line.starts_with("全双工");
    if (!scan.number(speed).text("M") || !scan.rest.empty()) {
        return markBroken(item, line);
    }
    card.speedMbit = speed;
    if (speed != goodSpeedMbit) {
        item.contradiction = line;
    }
}

// "2026-11-22 21:05:35" in seconds since 1970. The day may be 0: so reads a clock that can't be read.
Count dateSeconds(const std::string& text) {
    std::tm parts = {};
    int length = 0;
    if (sscanf(text.c_str(), "%4d-%2d-%2d %2d:%2d:%2d%n", &parts.tm_year, &parts.tm_mon, &parts.tm_mday,
               &parts.tm_hour, &parts.tm_min, &parts.tm_sec, &length) != 6 ||
        static_cast<std::size_t>(length) != text.size()) {
        return std::nullopt;
    }
    parts.tm_year -= 1900;
    parts.tm_mon -= 1;
    return timegm(&parts);
}

}  // namespace

void markBroken(Item& item, std::string_view line) {
    if (item.broken.empty()) {
        item.broken = line;
    }
}

void readNetworkLine(TestRun& run, std::string_view line) {
    Item& item = run.items[networkItem];
    Network& network = std::get<networkItem>(run.measured);
    std::int64_t number = 0;
    if (LineScanner card{line}; card.text("网卡").number(number).text(":")) {
        readCardLink(item, number, trimmed(card.rest), network);
    } else if (line.starts_with("网卡")) {
        markBroken(item, line);
    } else if (!network.cards.empty() && (line.starts_with("全双工") || line.starts_with("半双工"))) {
        readSpeed(item, line, network.cards.back());
    }
}

std::string networkLacks(const TestRun& run) {
    std::int64_t expected = 0;
    for (const Card& card : std::get<networkItem>(run.measured).cards) {
        const std::string name = "card " + std::to_string(card.number);
        if (card.number != ++expected) {
            return name + " came where card " + std::to_string(expected) + " belongs";
        }
        if (!card.poe && !card.link) {
            return name + " has no known link: " + card.error;
        }
        if (!card.poe && !card.speedMbit) {
            return name + " has no known speed";
        }
    }
    return "";
}

bool isAlarmLine(std::string_view line) {
    return std::any_of(alarmTexts.begin(), alarmTexts.end(),
                       [&](std::string_view text) { return trimmed(line).starts_with(text); });
}

void readAlarmLine(TestRun& run, std::string_view line) {
    Item& item = run.items[alarmItem];
    Alarm& alarm = std::get<alarmItem>(run.measured);
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

std::string alarmIdle(const TestRun& run) {
    const Item& item = run.items[alarmItem];
    return item.announced && !item.checked && !std::get<alarmItem>(run.measured).inputs
               ? "nothing was checked"
               : "";
}

// The clock's line, then the system's; in that order, without labels.
void readClockLine(TestRun& run, std::string_view line) {
    Item& item = run.items[clockItem];
    std::vector<ClockPair>& pairs = std::get<clockItem>(run.measured).pairs;
    const std::string text(line);
    const Count seconds = dateSeconds(text);
    if (!seconds) {
        return trimmed(line).empty() ? void() : markBroken(item, line);
    }
    item.checked = true;
    if (pairs.empty() || pairs.back().differenceSeconds) {
        pairs.push_back({text, "", {}});
        return;
    }
    pairs.back().system = text;
    pairs.back().differenceSeconds = *dateSeconds(pairs.back().clock) - *seconds;
}

void readRs485Line(TestRun& run, std::string_view line) {
    Item& item = run.items[rs485Item];
    if (line.starts_with("485测试成功") || line.starts_with("485测试失败")) {
        item.checked = true;
    }
    if (line.starts_with("485测试失败")) {
        item.contradiction = line;
    }
}

void readBoardLine(TestRun& run, std::string_view line) {
    Item& item = run.items[cpldItem];
    if (line == "CPLD 信息错误") {
        item.contradiction = line;
    }
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        return;
    }
    const std::string label(line.substr(0, colon));
    const std::string value(line.substr(colon + 1));
    item.checked = true;
    auto& labels = std::get<cpldItem>(run.measured).labels;
    const auto known =
        std::find_if(labels.begin(), labels.end(), [&](const auto& pair) { return pair.first == label; });
    if (known == labels.end()) {
        labels.emplace_back(label, value);
    } else {
        known->second = value;
    }
    std::int64_t ports = 0;
    if (label == "pcb") {
        run.board.pcb = value;
    } else if (label == "设备类型") {
        run.board.deviceType = value;
    } else if (label == "CPLD Date") {
        run.board.cpldDate = value;
    } else if (LineScanner scan{value}; label == "USB个数" && scan.number(ports) && scan.rest.empty()) {
        std::get<usbItem>(run.measured).expected = ports;
    }
}

}  // namespace station
