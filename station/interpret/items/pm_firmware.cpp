#include "station/interpret/items.h"
#include "station/interpret/text.h"

namespace station {

namespace {

// By disk ports; 0: there is no such layout.
std::int64_t chipsOf(const Count& diskPorts) {
    switch (diskPorts.value_or(0)) {
        case 5:
            return 1;
        case 9:
            return 2;
        case 16:
            return 4;
        default:
            return 0;
    }
}

std::int64_t listedChips(const PmFirmware& values) {
    return values.chipsPassed.value_or(0) + values.chipsFailed.value_or(0) +
           values.chipsNotTested.value_or(0);
}

// "Chip1 正常"; they come in their order.
void readChip(Item& item, std::string_view line, PmFirmware& values) {
    std::int64_t chip = 0;
    LineScanner scan{line};
    if (!scan.text("Chip").number(chip).text(" ") || values.lists.value_or(0) == 0 ||
        chip != listedChips(values) + 1) {
        return markBroken(item, line);
    }
    const std::string_view word = trimmed(scan.rest);
    Count& count = word == "正常"         ? values.chipsPassed
                   : word == "发生错误"   ? values.chipsFailed
                   : word == "未进行测试" ? values.chipsNotTested
                                          : values.lists;
    if (&count == &values.lists) {
        return markBroken(item, line);
    }
    item.checked = true;
    count = count.value_or(0) + 1;
    item.contradiction = &count == &values.chipsFailed ? line : item.contradiction;
}

// "sata_port_num = 16 ", and behind what is said of each chip "测试结果如下" and a line for each of them.
void readSingle(TestRun& run, std::string_view line) {
    Item& item = run.item<PmFirmware>();
    PmFirmware& values = run.values<PmFirmware>();
    std::int64_t ports = 0;
    if (LineScanner scan{line}; scan.text("sata_port_num = ").number(ports)) {
        values.diskPorts = ports;
    } else if (line.starts_with("sata_port_num")) {
        markBroken(item, line);
    } else if (line == "测试结果如下") {
        if (values.lists && listedChips(values) != chipsOf(values.diskPorts)) {
            markBroken(item, line);  // the list before was not whole
        }
        values.lists = values.lists.value_or(0) + 1;
        values.notTestedBefore += values.chipsNotTested.value_or(0);
        values.chipsPassed = values.chipsFailed = values.chipsNotTested = 0;
    } else if (line.starts_with("Chip")) {
        readChip(item, line, values);
    }
    markNotSeen(item, line, {"请检查CPLD是否正确烧写"});
}

// A chip without a disk behind it can not be reached: nobody knows what it holds.
std::string lacks(const TestRun& run) {
    const PmFirmware& values = run.values<PmFirmware>();
    if (values.lists != run.repetitions || listedChips(values) != chipsOf(values.diskPorts)) {
        return "not every chip has its line";
    }
    const std::int64_t notTested = values.notTestedBefore + values.chipsNotTested.value_or(0);
    return notTested != 0 ? "chips that were not tested: " + std::to_string(notTested) : "";
}

}  // namespace

const ItemRow PmFirmware::row = {
    .name = "pm-firmware",
    .title = "PM芯片固件",
    .english = "Port-multiplier firmware",
    .presence = Presence::onlyAlone,
    .lacks = lacks,
    .singleTest = 10,
    .readSingle = readSingle,
};

}  // namespace station
