#include <algorithm>

#include "station/interpret/items.h"
#include "station/interpret/text.h"

namespace station {

namespace {

// Only of ports inside the board: at external ones a drive is a choice. sdf is the second disk of a board
// with at most two internal ports, and external where there is but one.
bool isInternal(std::string_view device, const Count& expected) {
    return device.starts_with("/dev/sd") && (device != "/dev/sdf" || expected.value_or(0) >= 2);
}

void readDriveField(Item& item, std::string_view line, Drive& drive) {
    const std::size_t colon = std::min(line.find(':'), line.size());
    const std::string_view label = trimmed(line.substr(0, colon));
    const std::string_view value = line.substr(std::min(colon + 1, line.size()));
    constexpr std::pair<std::string_view, std::optional<std::string> Drive::*> texts[] = {
        {"序列号", &Drive::serial}, {"型号", &Drive::model}, {"固件版本", &Drive::firmware}};
    for (const auto& [known, field] : texts) {
        if (label == known && colon != line.size()) {
            if (drive.*field) {
                markBroken(item, line);  // which of the two is it?
            }
            drive.*field = trimmed(value);
        }
    }
    std::int64_t capacity = 0;
    if (label == "硬盘容量" && drive.capacityGiB) {
        markBroken(item, line);
    } else if (LineScanner scan{value}; label == "硬盘容量" && scan.number(capacity).text("GB")) {
        drive.capacityGiB = capacity;
    } else if (label == "硬盘容量") {
        markBroken(item, line);
    }
}

bool isWhole(const Drive& drive) {
    return drive.serial && drive.model && drive.firmware && drive.capacityGiB;
}

// "设备有4个sata口", "/dev/sda", "序列号    :...", "/dev/esda 不存在"
void readLine(TestRun& run, std::string_view line) {
    Item& item = run.item<Sata>();
    Sata& sata = run.values<Sata>();
    std::int64_t ports = 0;
    const std::size_t nameEnd = std::min(line.find(' '), line.size());
    const std::string device(line.substr(0, nameEnd));
    if (LineScanner scan{line}; scan.text("设备有").number(ports).text("个sata口")) {
        sata.expected = ports;
        item.checked = item.checked || ports != 0;
    } else if (line.starts_with("/dev/") && nameEnd == line.size()) {
        item.checked = true;
        sata.drives.emplace_back().device = device;
    } else if (line.starts_with("/dev/") && line.ends_with("不存在")) {
        sata.missing.push_back(device);
        item.contradiction = isInternal(device, sata.expected) ? line : item.contradiction;
    } else if (line.starts_with("/dev/") || line.starts_with("设备有")) {
        markBroken(item, line);
    } else if (!sata.drives.empty()) {
        readDriveField(item, line, sata.drives.back());
    }
}

// Also the count of what was found, and "端口1,3无连接".
bool readVerdict(TestRun& run, Item& item, std::string_view verdict) {
    if (const Count count = countIn(verdict)) {
        run.values<Sata>().found = count;
    } else if (verdict.starts_with("端口") && verdict.ends_with("无连接")) {
        addVerdict(item, false, verdict);
    } else {
        return readPlainVerdict(run, item, verdict);
    }
    return true;
}

// A line for each port and every field of each drive.
std::string missingParts(const TestRun& run) {
    const Sata& sata = run.values<Sata>();
    if (!sata.expected ||
        static_cast<std::int64_t>(sata.drives.size() + sata.missing.size()) < *sata.expected) {
        return "not every port has a line";
    }
    const bool whole = std::all_of(sata.drives.begin(), sata.drives.end(), isWhole);
    return whole ? "" : "lines of the drives do not agree with their number";
}

// And as many drives as the summary counts.
std::string lacks(const TestRun& run) {
    const Sata& sata = run.values<Sata>();
    const std::string missing = missingParts(run);
    const bool agree = sata.found == static_cast<std::int64_t>(sata.drives.size());
    return missing.empty() && !agree ? "lines of the drives do not agree with their number" : missing;
}

std::string idle(const TestRun& run) {
    return run.values<Sata>().expected == 0 && !run.item<Sata>().checked ? "the board has none" : "";
}

}  // namespace

const ItemRow Sata::row = {
    .name = "sata",
    .title = "SATA口",
    .stepTitle = "SATA硬盘测试",
    .english = "SATA ports",
    .readLine = readLine,
    .readVerdict = readVerdict,
    .idle = idle,
    .lacks = lacks,
    .singleTest = 8,
    .singleLacks = missingParts,
    .singleRunsOnce = true,
};

}  // namespace station
