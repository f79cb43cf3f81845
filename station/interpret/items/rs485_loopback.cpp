#include <algorithm>

#include "station/interpret/items.h"
#include "station/interpret/text.h"

namespace station {

namespace {

constexpr std::int64_t blockBytes = 1024;  // that the test sends

// "正确:    1024字节  ": the number behind the label, none when it is no such line.
Count bytesBehind(std::string_view line, std::string_view label, std::string_view unit) {
    std::int64_t bytes = 0;
    LineScanner scan{line};
    scan.text(label);
    scan.rest = trimmed(scan.rest);
    return scan.number(bytes).text(unit) && trimmed(scan.rest).empty() ? Count(bytes) : std::nullopt;
}

Count first(std::initializer_list<Count> counts) {
    const auto found =
        std::find_if(counts.begin(), counts.end(), [](const Count& count) { return count.has_value(); });
    return found == counts.end() ? std::nullopt : *found;
}

// The first line of a result holds what matched, the second what did not: "正确:    1024字节  ",
// "错误:    0字节 ", or behind a time-out "发送  1016字节成功", "    8字节失败 ".
void readResult(TestRun& run, std::string_view line) {
    Item& item = run.item<Rs485Loopback>();
    Rs485Loopback& values = run.values<Rs485Loopback>();
    const Count matched =
        first({bytesBehind(line, "正确:", "字节"), bytesBehind(line, "发送  ", "字节成功")});
    const Count mismatched =
        first({bytesBehind(line, "错误:", "字节"), bytesBehind(line, "    ", "字节失败")});
    if (matched) {
        item.checked = true;
        values.matchedBytes = std::min(values.matchedBytes.value_or(*matched), *matched);
        item.contradiction = *matched == blockBytes ? item.contradiction : line;
    } else if (mismatched) {
        values.blocks = values.blocks.value_or(0) + 1;
        values.mismatchedBytes = std::max(values.mismatchedBytes.value_or(0), *mismatched);
        item.contradiction = *mismatched == 0 ? item.contradiction : line;
    } else if (line.find("字节") != std::string_view::npos) {
        markBroken(item, line);
    }
}

void readSingle(TestRun& run, std::string_view line) {
    readResult(run, line);
    markNotSeen(run.item<Rs485Loopback>(), line,
                {"open /dev/ttyS1 failed", "tcsetattr failed", "signal failed", "no more data can write",
                 "open ZORIO failed"});
}

// Of each repetition a block, whole.
std::string lacks(const TestRun& run) {
    const Rs485Loopback& values = run.values<Rs485Loopback>();
    return values.blocks == run.repetitions && values.matchedBytes == blockBytes &&
                   values.mismatchedBytes == 0
               ? ""
               : "not every block has its result";
}

}  // namespace

const ItemRow Rs485Loopback::row = {
    .name = "rs485-loopback",
    .title = "485口回环",
    .english = "RS485 loop-back",
    .presence = Presence::onlyAlone,
    .lacks = lacks,
    .singleTest = 4,
    .readSingle = readSingle,
};

}  // namespace station
