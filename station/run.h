#pragma once

// What is known about one run of the tool: the steps with their lines, the items with their outcomes.

#include <array>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace station {

using Json = nlohmann::ordered_json;

// The station was asked for what it can't do, or its place is taken. Nothing was tested and nothing was kept.
struct WrongUse : std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum class Outcome {
    passed,
    failed,
    skipped,      // the board has nothing to test there, or the step did not run
    needsPerson,  // somebody has to judge it
    incomplete,   // not known: the run broke off or its verdict is missing
};

// "passed", "failed", "skipped", "needs-person", "incomplete": the words of the record.
constexpr std::string_view outcomeName(Outcome outcome) {
    constexpr std::string_view names[] = {"passed", "failed", "skipped", "needs-person", "incomplete"};
    return names[static_cast<size_t>(outcome)];
}

// Where a line came from: the report pipe, or the tool's standard output and error.
enum class Source { pipe, console };

struct Line {
    double at = 0;  // seconds since the start
    Source source = Source::pipe;
    std::string text;
};

// A part of the run, from its announcement to the next one. Times are seconds since the start.
struct Step {
    int number = 0;     // as the tool announced it; 0: a part of the run that has no number
    std::string name;   // "network"; "preparation", "summary" around the tests; "other" when not known
    std::string title;  // the board's own text
    double start = 0;
    double end = 0;
    std::vector<Line> lines;
};

// An item that the tool's summary gives a verdict on.
enum ItemIndex {
    networkItem,
    rs485Item,
    alarmItem,
    usbItem,
    cpldItem,
    sataItem,
    clockItem,
    chipTemperatureItem,  // the only one that most boards do not have
    itemCount
};

struct ItemInfo {
    std::string_view name;
    std::string_view title;      // as in the summary line
    std::string_view stepTitle;  // as in the step's line; empty: the step has none
    std::string_view english;
    bool alwaysRuns;  // on every board; the others depend on it
};

constexpr std::array<ItemInfo, itemCount> itemInfos = {{
    {"network", "网络状态", "网络状态", "Network", false},
    {"rs485", "485口", "485测试", "RS485", false},
    {"alarm", "报警口", "", "Alarm inputs and outputs", false},
    {"usb", "USB口", "USB口测试", "USB ports", true},
    {"cpld", "CPLD", "CPLD信息", "Board description", true},
    {"sata", "SATA口", "SATA硬盘测试", "SATA ports", true},
    {"clock", "Rtc时钟", "开始测试RTC", "Real-time clock", true},
    {"chip-temperature", "芯片温度", "", "Chip temperature", false},
}};

// One item of this run. The outcome is settled at the end, from what stands below it.
struct Item {
    Outcome outcome = Outcome::incomplete;
    std::string reason;              // why it did not simply pass
    std::optional<bool> verdict;     // the summary's word
    bool leftToPerson = false;       // or its word that somebody has to judge
    bool announced = false;          // its step began
    bool checked = false;            // a line of the step shows that something was looked at
    std::string contradiction;       // a line that does not go with a summary that says passed
    Json measured = Json::object();  // as docs/station.md lists it
};

// How the run ended, seen from outside of the tool.
struct ToolEnd {
    std::optional<int> exitStatus;
    int signal = 0;  // that killed it
    bool timedOut = false;
    bool interrupted = false;  // the station was told to stop
};

// Everything that the record says about the run. Texts are UTF-8.
struct TestRun {
    std::vector<Step> steps;
    std::array<Item, itemCount> items;
    Json board = Json::object();       // identity as printed
    std::vector<std::string> reasons;  // why the run is incomplete; empty: it is complete
    Outcome outcome = Outcome::incomplete;
    uint64_t lostLines = 0;  // records that the tool could not write
    bool heard = false;      // a record came
    bool ended = false;      // the end marker came
    double seconds = 0;

    // Whether the item belongs to this board's run at all.
    bool has(size_t item) const { return item != chipTemperatureItem || items[item].verdict.has_value(); }
};

}  // namespace station
