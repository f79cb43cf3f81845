#include "station/interpret/storage_lines.h"

#include <algorithm>

#include "station/interpret/step_lines.h"
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
            drive.*field = trimmed(value);
        }
    }
    std::int64_t capacity = 0;
    if (LineScanner scan{value}; label == "硬盘容量" && scan.number(capacity).text("GB")) {
        drive.capacityGiB = capacity;
    } else if (label == "硬盘容量") {
        markBroken(item, line);
    }
}

bool isWhole(const Drive& drive) {
    return drive.serial && drive.model && drive.firmware && drive.capacityGiB;
}

}  // namespace

void readUsbLine(TestRun& run, std::string_view line) {
    constexpr std::string_view statfsFailed = "Failed to statfs";  // comes without a line break
    constexpr std::string_view middle = " 剩余空间 = ";
    Item& item = run.items[usbItem];
    Usb& usb = std::get<usbItem>(run.measured);
    while (line.starts_with(statfsFailed)) {
        ++usb.unreadableDisks;
        line.remove_prefix(statfsFailed.size());
    }
    if (line.find("3.0USB") != std::string_view::npos) {
        usb.usb3 = line.starts_with("找到");
    } else if (line.starts_with("/dev/")) {
        const std::size_t nameEnd = std::min(line.find(middle), line.size());
        std::int64_t mebibytes = 0;
        if (LineScanner scan{line.substr(nameEnd)}; scan.text(middle).number(mebibytes).text("M")) {
            usb.disks.push_back({std::string(line.substr(0, nameEnd)), mebibytes});
        } else {
            markBroken(item, line);
        }
    }
}

// A board without any description fails by that; its number of ports is nobody's fault then.
std::string usbLacks(const TestRun& run) {
    const Usb& usb = std::get<usbItem>(run.measured);
    const bool agree = usb.found && usb.found == usb.expected;
    return agree || !run.items[cpldItem].checked ? "" : "the number of ports and what was found do not agree";
}

std::string usbIdle(const TestRun& run) {
    const Usb& usb = std::get<usbItem>(run.measured);
    return usb.expected == 0 && usb.found == 0 ? "the board has none" : "";
}

void readSataLine(TestRun& run, std::string_view line) {
    Item& item = run.items[sataItem];
    Sata& sata = std::get<sataItem>(run.measured);
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

std::string sataLacks(const TestRun& run) {
    const Sata& sata = std::get<sataItem>(run.measured);
    const auto drives = static_cast<std::int64_t>(sata.drives.size());
    const bool whole = std::all_of(sata.drives.begin(), sata.drives.end(), isWhole);
    const auto ports = drives + static_cast<std::int64_t>(sata.missing.size());
    if (!sata.expected || ports < *sata.expected) {
        return "not every port has a line";
    }
    return whole && sata.found == drives ? "" : "lines of the drives do not agree with their number";
}

std::string sataIdle(const TestRun& run) {
    return std::get<sataItem>(run.measured).expected == 0 && !run.items[sataItem].checked
               ? "the board has none"
               : "";
}

}  // namespace station
