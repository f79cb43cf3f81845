#include <algorithm>

#include "station/interpret/items.h"
#include "station/interpret/text.h"

namespace station {

namespace {

// "/dev/msa1 剩余空间 = 7792M", "找到3.0USB"
void readLine(TestRun& run, std::string_view line) {
    constexpr std::string_view statfsFailed = "Failed to statfs";  // comes without a line break
    constexpr std::string_view middle = " 剩余空间 = ";
    Item& item = run.item<Usb>();
    Usb& usb = run.values<Usb>();
    while (line.starts_with(statfsFailed)) {
        usb.unreadableDisks = usb.unreadableDisks.value_or(0) + 1;
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

// Also the count of what was found.
bool readVerdict(TestRun& run, Item& item, std::string_view verdict) {
    const Count count = countIn(verdict);
    if (!count) {
        return readPlainVerdict(run, item, verdict);
    }
    Usb& usb = run.values<Usb>();
    usb.found = count;
    item.checked = true;  // the test says nothing more where it finds nothing
    if (usb.expected && usb.expected != usb.found) {
        item.contradiction =
            std::to_string(*usb.found) + " found, " + std::to_string(*usb.expected) + " expected";
    }
    return true;
}

// Both counts: the test says nothing else when it finds nothing.
// A board without any description fails by that; its number of ports is nobody's fault then.
std::string lacks(const TestRun& run) {
    const Usb& usb = run.values<Usb>();
    const bool agree = usb.found && usb.found == usb.expected;
    return agree || !run.item<BoardDescription>().checked
               ? ""
               : "the number of ports and what was found do not agree";
}

std::string idle(const TestRun& run) {
    const Usb& usb = run.values<Usb>();
    return usb.expected == 0 && usb.found == 0 ? "the board has none" : "";
}

void readSingle(TestRun& run, std::string_view line) {
    Item& item = run.item<Usb>();
    readLine(run, line);
    item.checked = item.checked || !run.values<Usb>().disks.empty();
    if (line == "没有接usb" || run.values<Usb>().unreadableDisks) {
        item.contradiction = line;
    }
}

// Mice and ports are counted by nobody there.
std::string singleLacks(const TestRun& run) {
    return run.values<Usb>().usb3 ? "" : "the line on USB 3.0 did not come";
}

}  // namespace

const ItemRow Usb::row = {
    .name = "usb",
    .title = "USB口",
    .stepTitle = "USB口测试",
    .english = "USB ports",
    .readLine = readLine,
    .readVerdict = readVerdict,
    .idle = idle,
    .lacks = lacks,
    .singleTest = 7,
    .readSingle = readSingle,
    .singleLacks = singleLacks,
    .singleRunsOnce = true,
};

}  // namespace station
