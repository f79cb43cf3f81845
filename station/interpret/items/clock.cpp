#include <cstdio>
#include <ctime>

#include "station/interpret/items.h"
#include "station/interpret/text.h"

namespace station {

namespace {

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

// The clock's line, then the system's; in that order, without labels.
void readLine(TestRun& run, std::string_view line) {
    Item& item = run.item<ClockTimes>();
    std::vector<ClockPair>& pairs = run.values<ClockTimes>().pairs;
    const std::string text(line);
    const Count seconds = dateSeconds(text);
    if (!seconds) {
        return trimmed(line).empty() ? void() : markBroken(item, line);
    }
    item.checked = true;
    if (pairs.empty() || pairs.back().differenceSeconds) {
        pairs.push_back({text, {}, {}});
        return;
    }
    pairs.back().system = text;
    pairs.back().differenceSeconds = *dateSeconds(pairs.back().clock) - *seconds;
}

// Also that a person judges it.
bool readVerdict(TestRun& run, Item& item, std::string_view verdict) {
    item.leftToPerson = item.leftToPerson || verdict == "由检测人员判断";
    return verdict == "由检测人员判断" || readPlainVerdict(run, item, verdict);
}

// "时钟时间 2026-11-22 21:05:35", "系统时间 2026-11-22 21:05:35"
void readSingle(TestRun& run, std::string_view line) {
    const bool clockComes = line.starts_with("时钟时间 ");
    const auto& pairs = run.values<ClockTimes>().pairs;
    if (!clockComes && !line.starts_with("系统时间 ")) {
        return;
    }
    if (clockComes != (pairs.empty() || pairs.back().differenceSeconds)) {
        return markBroken(run.item<ClockTimes>(), line);  // its other half did not come
    }
    readLine(run, line.substr(std::string_view("时钟时间 ").size()));
}

}  // namespace

const ItemRow ClockTimes::row = {
    .name = "clock",
    .title = "Rtc时钟",
    .stepTitle = "开始测试RTC",
    .english = "Real-time clock",
    .readLine = readLine,
    .readVerdict = readVerdict,
    .singleTest = 6,
    .readSingle = readSingle,
    .singleNeedsPerson = true,
    .singleRunsOnce = true,
};

}  // namespace station
