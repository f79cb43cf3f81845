#include "station/interpret/summary_lines.h"

#include <algorithm>

#include "station/interpret/items.h"
#include "station/interpret/text.h"

namespace station {

namespace {

constexpr std::string_view frameTexts[] = {"", "R8测试结果如下:", "R8测试结束", endMarker};

}  // namespace

bool isRule(std::string_view line) {
    return line.size() >= 64 && line.find_first_not_of('-') == std::string_view::npos;
}

// "USB口       : 4  " counts, "USB口       : 成功  " judges, "SATA口       : 端口1,3无连接" names ports.
void readSummaryLine(TestRun& run, std::string_view line) {
    const bool isFrame = isRule(line) || std::find(std::begin(frameTexts), std::end(frameTexts),
                                                   trimmed(line)) != std::end(frameTexts);
    const bool isItsOwn = std::any_of(itemRows.begin(), itemRows.end(), [&](const ItemRow* row) {
        return row->readSummaryLine != nullptr && row->readSummaryLine(run, line);
    });
    if (isFrame || isItsOwn) {
        return;
    }
    const std::size_t colon = std::min(line.find(':'), line.size());
    const ItemRow* const row = itemWith(&ItemRow::title, trimmed(line.substr(0, colon)));
    const std::string_view verdict = trimmed(line.substr(std::min(colon + 1, line.size())));
    if (row == nullptr || row->readVerdict == nullptr || !row->readVerdict(run, itemOf(run, *row), verdict)) {
        run.addUnknown(trimmed(line));
    }
}

void readConsoleLine(TestRun& run, std::string_view line) {
    // Trial messages come without line breaks, so any text may stand before; half a character would take the
    // "w" with it.
    for (std::size_t at = 0; (at = line.find("rite error file = ", at)) != std::string_view::npos; ++at) {
        ++run.lostLines;
    }
    std::int64_t card = 0;
    if (LineScanner scan{line}; scan.text("网卡").number(card).text(" mac地址:")) {
        run.board.macs.emplace_back(trimmed(scan.rest));
    }
    for (const ItemRow* row : itemRows) {
        if (row->readConsole != nullptr) {
            row->readConsole(run, line);
        }
    }
}

}  // namespace station
