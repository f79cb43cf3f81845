#include "line_readers.h"

#include <cstdio>
#include <ctime>

#include "text.h"

namespace station {

namespace {

constexpr std::array<std::string_view, 6> alarmTexts = {
    "报警输入有", "断开报警输出时", "报警输出为", "设备没有报警输入或输出接口", "成功 ", "IOCTL ERROR",
};

bool holds(std::string_view line, std::string_view text) {
    return line.find(text) != std::string_view::npos;
}

// Lines about one card, drive or pair follow each other, so what comes belongs to the last one that was
// begun. The last entry of the list under that key, null when there is none yet.
Json* lastEntry(Item& item, const char* list) {
    const auto found = item.measured.find(list);
    return found == item.measured.end() ? nullptr : &found->back();
}

void readCardLink(Item& item, int64_t card, std::string_view state) {
    Json entry = {{"card", card}};
    if (holds(state, "POE")) {
        entry["poe"] = true;
    } else if (holds(state, "接通")) {
        entry["link"] = true;
    } else if (holds(state, "断开")) {
        entry["link"] = false;
        item.contradiction = "card " + std::to_string(card) + " has no link";
    } else {
        entry["error"] = trimmed(state);
    }
    item.checked = true;
    item.measured["cards"].push_back(entry);
}

// "2026-11-22 21:05:35" in seconds since 1970. The day may be 0: so reads a clock that can't be read.
std::optional<int64_t> dateSeconds(std::string_view text) {
    std::tm parts = {};
    if (sscanf(std::string(text).c_str(), "%4d-%2d-%2d %2d:%2d:%2d", &parts.tm_year, &parts.tm_mon,
               &parts.tm_mday, &parts.tm_hour, &parts.tm_min, &parts.tm_sec) != 6) {
        return std::nullopt;
    }
    parts.tm_year -= 1900;
    parts.tm_mon -= 1;
    return timegm(&parts);
}

// Summary lines name an item by its title; "SATA口" and "USB口" come twice, with a count and with a verdict.
Item* itemTitled(TestRun& run, std::string_view title) {
    for (size_t i = 0; i < itemCount; ++i) {
        if (itemInfos[i].title == title) {
            return &run.items[i];
        }
    }
    return nullptr;
}

// "芯片温度正常: 40 ": the only verdict that comes with its value.
void readChipTemperature(Item& item, std::string_view line) {
    LineScanner scan{line};
    int64_t degrees = 0;
    if (!scan.text("芯片温度")) {
        return;
    }
    item.checked = item.announced = true;
    item.verdict = scan.rest.starts_with("正常");
    item.reason = *item.verdict ? "" : trimmed(line);
    scan.rest.remove_prefix(std::min(scan.rest.find(' '), scan.rest.size()));
    if (scan.text(" ").number(degrees) && !holds(line, "获取失败")) {
        item.measured["celsius"] = degrees;
    }
}

void readVerdict(Item& item, std::string_view verdict) {
    int64_t count = 0;
    LineScanner scan{verdict};
    if (scan.number(count) && scan.rest.empty()) {
        item.measured["found"] = count;
    } else if (verdict == "由检测人员判断") {
        item.leftToPerson = true;
    } else {
        item.verdict = verdict == "成功";
        item.reason = *item.verdict ? "" : verdict;
    }
}

}  // namespace

bool isAlarmLine(std::string_view line) {
    for (const std::string_view text : alarmTexts) {
        if (trimmed(line).starts_with(text)) {
            return true;
        }
    }
    return false;
}

// "网卡1:网络连接接通 ", then "全双工  1000M"
void readNetworkLine(Item& item, std::string_view line) {
    int64_t number = 0;
    if (LineScanner card{line}; card.text("网卡").number(number).text(":")) {
        readCardLink(item, number, card.rest);
        return;
    }
    Json* const card = lastEntry(item, "cards");
    const bool full = line.starts_with("全双工");
    if (card == nullptr || (!full && !line.starts_with("半双工"))) {
        return;
    }
    (*card)["duplex"] = full ? "full" : "half";
    LineScanner speed{trimmed(line.substr(std::string_view("全双工").size()))};
    if (speed.number(number).text("M")) {
        (*card)["speedMbit"] = number;
    }
}

void readAlarmLine(Item& item, std::string_view line) {
    const std::string_view text = trimmed(line);
    int64_t first = 0;
    int64_t second = 0;
    if (LineScanner scan{text}; scan.text("报警输入有").number(first).text("个,报警输出有").number(second)) {
        item.measured["inputs"] = first;
        item.measured["outputs"] = second;
    }
    const size_t counts = text.find("成功 ");
    if (counts != std::string_view::npos) {
        LineScanner scan{text.substr(counts)};
        if (scan.text("成功 ").number(first).text(", 失败 ").number(second)) {
            item.checked = true;
            item.measured["checksPassed"] = first;
            item.measured["checksFailed"] = second;
            if (second != 0) {
                item.contradiction = text;
            }
        }
    } else if (holds(text, "报警输入应为")) {
        item.checked = true;
        item.measured["mismatches"].push_back(text);
    }
    if (holds(text, "报警输入应为") || holds(text, "IOCTL ERROR")) {
        item.contradiction = text;
    }
}

// The clock's line, then the system's; in that order, without labels.
void readClockLine(Item& item, std::string_view line) {
    const std::optional<int64_t> seconds = dateSeconds(line);
    if (!seconds) {
        return;
    }
    item.checked = true;
    Json* const pair = lastEntry(item, "pairs");
    if (pair == nullptr || pair->contains("system")) {
        item.measured["pairs"].push_back({{"clock", line}});
        return;
    }
    (*pair)["system"] = line;
    (*pair)["differenceSeconds"] = *dateSeconds((*pair)["clock"].get_ref<const std::string&>()) - *seconds;
}

void readUsbLine(Item& item, std::string_view line) {
    constexpr std::string_view statfsFailed = "Failed to statfs";  // comes without a line break
    while (line.starts_with(statfsFailed)) {
        item.measured["unreadableDisks"] = item.measured.value("unreadableDisks", 0) + 1;
        line.remove_prefix(statfsFailed.size());
    }
    if (holds(line, "3.0USB")) {
        item.measured["usb3"] = line.starts_with("找到");
    }
    const size_t middle = line.find(" 剩余空间 = ");
    int64_t mebibytes = 0;
    if (middle == std::string_view::npos) {
        return;
    }
    if (LineScanner scan{line.substr(middle)}; scan.text(" 剩余空间 = ").number(mebibytes).text("M")) {
        item.measured["disks"].push_back({{"device", line.substr(0, middle)}, {"freeMiB", mebibytes}});
    }
}

void readSataLine(Item& item, std::string_view line) {
    int64_t number = 0;
    if (LineScanner scan{line}; scan.text("设备有").number(number).text("个sata口")) {
        item.measured["expected"] = number;
        item.checked = item.checked || number != 0;
    } else if (line.starts_with("/dev/")) {
        const size_t nameEnd = line.find(' ');
        if (nameEnd == std::string_view::npos) {
            item.checked = true;
            item.measured["drives"].push_back({{"device", line}});
        } else if (line.ends_with("不存在")) {
            item.measured["missing"].push_back(line.substr(0, nameEnd));
        }
    }
    const size_t colon = line.find(':');
    const std::string_view label = trimmed(line.substr(0, colon));
    const std::string_view value = colon == std::string_view::npos ? "" : line.substr(colon + 1);
    constexpr std::pair<std::string_view, const char*> texts[] = {
        {"序列号", "serial"}, {"型号", "model"}, {"固件版本", "firmware"}};
    Json* const drive = lastEntry(item, "drives");
    if (drive == nullptr) {
        return;
    }
    for (const auto& [known, field] : texts) {
        if (label == known) {
            (*drive)[field] = trimmed(value);
        }
    }
    if (label == "硬盘容量" && LineScanner{value}.number(number)) {
        (*drive)["capacityGiB"] = number;
    }
}

void readRs485Line(Item& item, std::string_view line) {
    if (line.starts_with("485测试成功") || line.starts_with("485测试失败")) {
        item.checked = true;
    }
    if (line.starts_with("485测试失败")) {
        item.contradiction = line;
    }
}

void readBoardLine(TestRun& run, std::string_view line) {
    if (line == "CPLD 信息错误") {
        run.items[cpldItem].contradiction = line;
    }
    const size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        return;
    }
    const std::string_view label = line.substr(0, colon);
    const std::string_view value = line.substr(colon + 1);
    run.items[cpldItem].checked = true;
    run.items[cpldItem].measured[std::string(label)] = value;
    int64_t ports = 0;
    if (label == "pcb") {
        run.board["pcb"] = value;
    } else if (label == "设备类型") {
        run.board["deviceType"] = value;
    } else if (label == "CPLD Date") {
        run.board["cpldDate"] = value;
    } else if (label == "USB个数" && LineScanner{value}.number(ports)) {
        run.items[usbItem].measured["expected"] = ports;
    }
}

// "USB口       : 4  " counts, "USB口       : 成功  " judges, "SATA口       : 端口1,3无连接" names ports.
void readSummaryLine(TestRun& run, std::string_view line) {
    readChipTemperature(run.items[chipTemperatureItem], line);
    const size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        return;
    }
    if (Item* item = itemTitled(run, trimmed(line.substr(0, colon)))) {
        readVerdict(*item, trimmed(line.substr(colon + 1)));
    }
    Item& usb = run.items[usbItem];
    Json& counts = usb.measured;
    if (counts.contains("found") && counts.contains("expected") && counts["found"] != counts["expected"]) {
        usb.contradiction = counts["found"].dump() + " found, " + counts["expected"].dump() + " expected";
    }
}

void readConsoleLine(TestRun& run, std::string_view line) {
    // Trial messages come without line breaks, so any text may stand before.
    for (size_t at = 0; (at = line.find("write error file = ", at)) != std::string_view::npos; ++at) {
        ++run.lostLines;
    }
    int64_t first = 0;
    int64_t second = 0;
    if (LineScanner scan{line}; scan.text("网卡").number(first).text(" mac地址:")) {
        run.board["macs"].push_back(trimmed(scan.rest));
    }
    const size_t counts = line.find("RS485测试成功次数为 ");
    if (counts != std::string_view::npos) {
        LineScanner scan{line.substr(counts)};
        if (scan.text("RS485测试成功次数为 ").number(first).text("，错误次数为 ").number(second)) {
            run.items[rs485Item].measured["trialsPassed"] = first;
            run.items[rs485Item].measured["trialsFailed"] = second;
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
        if (holds(line, text)) {
            run.items[item].announced = true;
            run.items[item].contradiction = text;
        }
    }
}

}  // namespace station
