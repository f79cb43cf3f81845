#include <algorithm>

#include "station/interpret/items.h"
#include "station/interpret/text.h"

namespace station {

namespace {

// The step's own verdict; the counts stand on the console.
void readLine(TestRun& run, std::string_view line) {
    Item& item = run.item<Rs485>();
    if (line.starts_with("485测试成功") || line.starts_with("485测试失败")) {
        item.checked = true;
    }
    if (line.starts_with("485测试失败")) {
        item.contradiction = line;
    }
}

// Trial messages come without line breaks, so any text may stand before.
void readConsole(TestRun& run, std::string_view line) {
    std::int64_t passed = 0;
    std::int64_t failed = 0;
    LineScanner scan{line.substr(std::min(line.find("RS485测试成功次数为 "), line.size()))};
    if (scan.text("RS485测试成功次数为 ").number(passed).text("，错误次数为 ").number(failed)) {
        run.values<Rs485>() = {passed, failed};
        if (failed != 0) {
            run.item<Rs485>().contradiction = std::to_string(failed) + " trials failed";
        }
    }
}

}  // namespace

const ItemRow Rs485::row = {
    .name = "rs485",
    .title = "485口",
    .stepTitle = "485测试",
    .english = "RS485",
    .presence = Presence::dependsOnBoard,
    .readLine = readLine,
    .readConsole = readConsole,
};

}  // namespace station
