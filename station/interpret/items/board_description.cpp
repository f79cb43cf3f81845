#include <algorithm>

#include "station/interpret/items.h"
#include "station/interpret/text.h"

namespace station {

namespace {

// "1GB(2片4Gb,1个32bit接口)", "NB-5071-3"
void readUnlabelled(BoardDescription& description, std::string_view line) {
    std::int64_t size = 0;
    LineScanner gibibytes{line};
    LineScanner mebibytes{line};
    if (gibibytes.number(size).text("GB(") || mebibytes.number(size).text("MB(")) {
        description.memory = line;
    } else if (line.starts_with("NB-")) {
        description.chip = line;
    }
}

// "label:value". Also what the board has to have: its identity, and the number of USB ports.
void readLine(TestRun& run, std::string_view line) {
    Item& item = run.item<BoardDescription>();
    if (line == "CPLD 信息错误") {
        item.contradiction = line;
    }
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        return readUnlabelled(run.values<BoardDescription>(), line);
    }
    const std::string label(line.substr(0, colon));
    const std::string value(line.substr(colon + 1));
    item.checked = true;
    auto& labels = run.values<BoardDescription>().labels;
    const auto known =
        std::find_if(labels.begin(), labels.end(), [&](const auto& pair) { return pair.first == label; });
    if (known == labels.end()) {
        labels.emplace_back(label, value);
    } else if (known->second != value) {
        markBroken(item, line);
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
        run.values<Usb>().expected = ports;
    }
}

void readConsole(TestRun& run, std::string_view line) {
    markNotSeen(run.item<BoardDescription>(), line,
                {"open zorio failed !", "CPLD读取失败", "ioctl ZORIO_GET_BOOT_PARMS error"});
}

}  // namespace

const ItemRow BoardDescription::row = {
    .name = "cpld",
    .title = "CPLD",
    .stepTitle = "CPLD信息",
    .english = "Board description",
    .readLine = readLine,
    .readConsole = readConsole,
    .singleTest = 1,
};

}  // namespace station
