// Single tests of the tool as parts of an attempt: what their lines are worth, on the virtual board and where
// no board says them.

#include "station/interpret/items.h"
#include "station/interpret/single_test.h"
#include "tests/station_program.h"

using namespace station;
using namespace station_test;
using testing::HasSubstr;

namespace {

using enum Outcome;

class StationSingle : public StationRun {
  protected:
    // The words for a part of the plan on that board.
    std::vector<std::string> onlyWords(const std::string& scenario,
                                       const std::vector<std::string>& items) const {
        const std::string fifo = bench / "fifo";
        std::vector<std::string> words = {"run",    "--unit", "7", "--results", bench / "results",
                                          "--fifo", fifo};
        for (const std::string& item : items) {
            words.insert(words.end(), {"--only", item});
        }
        words.insert(words.end(),
                     {"--", vboardProgram, scenario, "--fifo", fifo, "--raw", "--", "r8", "netR8test"});
        return words;
    }
};

TEST_F(StationSingle, hasTheOutcomeThatAPersonWouldGiveIt) {
    const struct {
        const char* scenario;
        const char* item;
        Outcome outcome;
        int status;
        const char* measured;
    } cases[] = {
        {"healthy", "buzzer", needsPerson, 3, R"({"driven":true})"},
        {"healthy", "front-panel", needsPerson, 3, R"({"answers":1})"},
        {"faulty-panel-noise", "front-panel", needsPerson, 3, R"({"answers":1})"},
        {"faulty-panel-missing", "front-panel", failed, 1, "{}"},
        {"faulty-panel-silent", "front-panel", failed, 1, "{}"},
        {"healthy", "rs485-loopback", passed, 3, R"({"blocks":1,"matchedBytes":1024,"mismatchedBytes":0})"},
        {"faulty-loopback-corrupt", "rs485-loopback", failed, 1,
         R"({"blocks":1,"matchedBytes":1016,"mismatchedBytes":8})"},
        {"faulty-loopback-silent", "rs485-loopback", failed, 1,
         R"({"blocks":1,"matchedBytes":0,"mismatchedBytes":0})"},
        {"faulty-loopback-missing", "rs485-loopback", failed, 1, "{}"},
        {"healthy", "watchdog", needsPerson, 3, R"({"armed":true})"},
        {"healthy", "pm-firmware", failed, 1, R"({"diskPorts":4})"},
        {"pm-update", "pm-firmware", incomplete, 3,
         R"({"diskPorts":16,"lists":1,"chipsPassed":3,"chipsFailed":0,"chipsNotTested":1})"},
        {"faulty-pm-no-chip", "pm-firmware", failed, 1,
         R"({"diskPorts":16,"lists":1,"chipsPassed":0,"chipsFailed":1,"chipsNotTested":3})"},
        {"faulty-network-100m", "network", failed, 1, nullptr},
        {"faulty-network-down", "network", failed, 1, nullptr},
        {"healthy", "network", passed, 3, nullptr},
        {"faulty-alarm-swapped", "alarm", failed, 1, nullptr},
        {"healthy", "alarm", passed, 3, nullptr},
        {"faulty-clock-behind", "clock", failed, 1, nullptr},
        {"healthy", "clock", passed, 3, nullptr},
        {"faulty-usb-empty", "usb", failed, 1, nullptr},
        {"faulty-usb-unreadable", "usb", failed, 1, nullptr},
        {"healthy", "usb", passed, 3, nullptr},
        {"faulty-drive-missing", "sata", failed, 1, nullptr},
        {"healthy", "sata", passed, 3, nullptr},
        {"healthy", "cpld", passed, 3, nullptr},
        {"healthy", "rs485", passed, 3, nullptr},  // has no single test
    };
    int number = 0;
    for (const auto& [scenario, name, outcome, status, measured] : cases) {
        SCOPED_TRACE(std::string(scenario) + " " + name);
        EXPECT_EQ(station(onlyWords(scenario, {name})), status);
        const Json kept = record(++number);
        const Json judged = item(kept, name);
        EXPECT_EQ(judged["outcome"], outcomeName(outcome)) << judged;
        EXPECT_EQ(judged["measured"].dump(), measured == nullptr ? judged["measured"].dump() : measured);
        EXPECT_NE(kept["outcome"], "passed");
        EXPECT_EQ(kept["only"], Json({name}));
        EXPECT_EQ(kept["reasons"].size(), outcome == passed ? 1U : 0U) << kept["reasons"];
    }
}

// The command's standard output is the console then.
TEST_F(StationSingle, comesThroughACommandOfTheCallers) {
    const std::string script =
        file("way", "[ \"$1 $2 $3\" = '-o 4 x' ] || exit 9\nprintf '" +
                        gbk("正确:    1024字节  \\n错误:    0字节 \\n") + "'\necho on standard error >&2\n");
    EXPECT_EQ(station({"run", "--unit", "7", "--results", bench / "results", "--records", "stdout", "--only",
                       "rs485-loopback", "--", "/bin/sh", script, "netR8test", "x"}),
              3);
    EXPECT_EQ(item(record(1), "rs485-loopback")["outcome"], "passed");
    EXPECT_THAT(readFile(attempt(1) / "lines.txt"), HasSubstr("console on standard error"));
    EXPECT_EQ(readFile(attempt(1) / "stream.raw"), "");
}

// What a single test prints where no board of ours does, and how the tool ended.
TEST(StationSingleLines, areWorthOnlyWhatTheySay) {
    const std::string start = "面板测试开始";
    const std::vector<std::string> block = {"正确:    1024字节  ", "错误:    0字节 "};
    const std::vector<std::string> chips = {"sata_port_num = 9 ", "测试结果如下", "Chip1 正常"};
    const auto with = [](std::vector<std::string> lines, const std::vector<std::string>& more) {
        lines.insert(lines.end(), more.begin(), more.end());
        return lines;
    };
    const ToolEnd well = {.exitStatus = 0};
    const struct {
        const char* what;
        int test, repetitions;
        std::vector<std::string> lines;
        ToolEnd end;
        Outcome outcome;
    } cases[] = {
        {"chips", 10, 1, with(chips, {"Chip2 正常"}), well, passed},
        {"a chip without its line", 10, 1, chips, well, incomplete},
        {"a chip twice", 10, 1, with(chips, {"Chip1 正常"}), well, incomplete},
        {"a chip too many", 10, 1, with(chips, {"Chip2 正常", "Chip3 正常"}), well, incomplete},
        {"a word that no chip has", 10, 1, with(chips, {"Chip2 正常?"}), well, incomplete},
        {"no number of ports", 10, 1, {"sata_port_num = ", "测试结果如下", "Chip1 正常"}, well, incomplete},
        {"a chip before the results", 10, 1, {"sata_port_num = 5 ", "Chip1 正常"}, well, incomplete},
        {"once of two", 10, 2, with(chips, {"Chip2 正常"}), well, incomplete},
        {"the first of two lists short", 10, 2, with(chips, with(chips, {"Chip2 正常"})), well, incomplete},
        {"the first of two failed", 10, 2,
         with(with({"sata_port_num = 9 ", "测试结果如下", "Chip1 发生错误", "Chip2 正常"}, chips),
              {"Chip2 正常"}),
         well, failed},
        {"the first of two without disks", 10, 2,
         with(with({"sata_port_num = 9 ", "测试结果如下", "Chip1 未进行测试", "Chip2 正常"}, chips),
              {"Chip2 正常"}),
         well, incomplete},
        {"block", 4, 1, block, well, passed},
        {"block once of two", 4, 2, block, well, incomplete},
        {"second block short", 4, 2, with(block, {"正确:    1023字节  ", "错误:    0字节 "}), well, failed},
        {"block that began", 4, 1, {block[0]}, well, incomplete},
        {"no number of bytes", 4, 1, {"正确:    字节  ", block[1]}, well, incomplete},
        {"nothing came", 4, 1, {}, well, failed},
        {"a tool that died", 4, 1, block, {.exitStatus = {}, .signal = 9}, incomplete},
        {"a tool that never told its end", 4, 1, block, {}, incomplete},
        {"out of time", 3, 1, {start}, {.exitStatus = 0, .timedOut = true}, incomplete},
        {"another status", 2, 1, {}, {.exitStatus = 1}, incomplete},
        {"panel", 3, 1, {start}, well, needsPerson},
        {"panel once of two", 3, 2, {start}, well, incomplete},
        {"no heartbeat", 3, 1, {"can not creat HB thread", "创建面板心跳守护进程失败 !"}, well, failed},
        {"no buzzer", 2, 1, {"open hwInfo error!"}, well, failed},
        {"watchdog not armed", 9, 1, {"set watchdog timeout failed"}, well, failed},
        {"no watchdog", 9, 1, {"failed to open watchdog"}, well, failed},
        {"half a pair of times", 6, 1, {"系统时间 2009-04-03 08:00:02"}, well, incomplete},
        {"no USB 3.0 line", 7, 1, {"/dev/msa1 剩余空间 = 7792M"}, well, incomplete},
        {"a drive without a line", 8, 1, {"设备有1个sata口"}, well, incomplete},
    };
    for (const auto& [what, test, repetitions, lines, end, outcome] : cases) {
        SingleTest single(test, repetitions, 0);
        for (const std::string& line : lines) {
            single.console(0, line);
        }
        single.finish(1, end);
        EXPECT_EQ(outcomeName(single.item().outcome), outcomeName(outcome))
            << what << ": " << single.item().reason;
        EXPECT_EQ(single.run.reasons.empty(), end.exitStatus == 0 && !end.timedOut) << what;
    }
}

}  // namespace
