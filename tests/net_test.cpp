// The network test as the operator, the interfaces and the supervising process see it.

#include "r8/net/nic.h"
#include "tests/tool_runs.h"

using testing::ElementsAre;
using testing::HasSubstr;
using vboard::Run;
using vboard::VirtualBoard;

namespace {

const std::string good = "网络连接接通 \n全双工  1000M\n";
const std::string bad = "请检查网络测试环境是否为千M网络\n\n";

std::string macLines(unsigned cards) {
    std::string lines;
    for (unsigned card = 1; card <= cards; ++card) {
        lines += "网卡" + std::to_string(card) + " mac地址:00:00:00:00:00:00\n";
    }
    return lines + "\n";
}

std::vector<std::string> askedInterfaces(const Run& run) {
    std::vector<std::string> names;
    for (const vboard::TraceEntry& entry : run.requests("SIOCETHTOOL")) {
        names.emplace_back(reinterpret_cast<const char*>(entry.data.data()));
    }
    return names;
}

}  // namespace

TEST(Network, CardsAndPoeSwitchSelectTheInterfaces) {
    const struct {
        const char *cards, *poe;
        std::string text;
        std::vector<std::string> asked;
    } cases[] = {
        {"0", "0", macLines(0), {}},
        {"1", "0", "网卡1:" + good + macLines(1), {"eth1", "eth1"}},
        {"1", "1", "网卡1:" + good + macLines(1), {"eth0", "eth0"}},
        {"2", "0", "网卡1:" + good + "网卡2:" + good + macLines(2), {"eth1", "eth1", "eth0", "eth0"}},
        {"2", "1", "网卡1:" + good + "网卡2:是POE网卡，不检测!\n" + macLines(2), {"eth1", "eth1"}},
        {"3",
         "0",
         "网卡个数超过支持上限,网口个数为 3\n网卡1:" + good + "网卡2:" + good + macLines(2),
         {"eth1", "eth1", "eth0", "eth0"}},
    };
    for (const auto& row : cases) {
        VirtualBoard board = VirtualBoard::healthy();
        const auto run = runModule(board, {std::string("netCardCount=") + row.cards,
                                           std::string("poeSwitchPresent=") + row.poe, "r8_net_test"});
        EXPECT_EQ(run.console(), row.text);
        EXPECT_EQ(askedInterfaces(run), row.asked);
        EXPECT_THAT(run.openAtEnd, testing::IsEmpty());
    }
}

TEST(Network, LinkDuplexAndSpeedOfACard) {
    const struct {
        const char* interface;
        std::string text;
    } cases[] = {
        {"link = false", "网络连接断开 \n"},
        {"missing = true", "ETHTOOL_GLINK failed: \n"},
        {"fullDuplex = false", "网络连接接通 \n半双工  1000M\n"},
        {"speed = 10", "网络连接接通 \n全双工  10M\n" + bad},
        {"speed = 100", "网络连接接通 \n全双工  100M\n" + bad},
        {"speed = 2500", "网络连接接通 \n全双工  net speed error\n" + bad},
        {"speed = 0", "网络连接接通 \n全双工  net speed error\n" + bad},
    };
    for (const auto& row : cases) {
        VirtualBoard board;
        loadHealthyWith(board, std::string("[[network.interface]]\nname = 'eth1'\n") + row.interface);
        const auto run = runModule(board, {"netCardCount=2", "r8_net_test"});
        EXPECT_EQ(run.console(), "网卡1:" + row.text + "网卡2:" + good + macLines(2));
    }
}

TEST(Network, OnlyFullDuplexIsFull) {
    VirtualBoard board = VirtualBoard::healthy();
    board.network.interfaces["eth1"].unknownDuplex = true;
    EXPECT_EQ(runModule(board, {"netCardCount=1", "r8_net_test"}).console(),
              "网卡1:网络连接接通 \n半双工  1000M\n" + macLines(1));
}

TEST(Network, TheMacAddressesComeFromTheBootParameters) {
    VirtualBoard board = VirtualBoard::healthy();
    EXPECT_THAT(board.run({"-o", "11"}).console(),
                HasSubstr("1000M\n网卡1 mac地址:00:1a:2b:3c:4d:5e\n网卡2 mac地址:00:1a:2b:3c:4d:5f\n\n"));
    EXPECT_EQ(r8_net_print_mac(3), -1);  // there is room for two
}

// Only report lines reach the supervising process; what the tests print directly stays on the console.
TEST(Network, NoDirectLineEntersThePipe) {
    VirtualBoard board("faulty-drive-silent");
    board.drives["sda"].unsized = true;
    board.settings.faults = {{"open", "/dev/zorio", 4, false, EIO},  // the alarm test's
                             {"open", "/dev/sdc", 2, false, EIO}};
    const auto run = board.run({"netR8test"});
    EXPECT_EQ(run.exitStatus(), 0);
    EXPECT_TRUE(run.sawEndMarker());
    for (const char* direct : {"open /dev/iop failed\n", "mac地址:00:1a:2b:3c:4d:5e\n",
                               "send IDENTIFY DEVICE command, return -1\n", "Can not get /dev/sda size \n",
                               "Can not open /dev/sdc \n", "no kill vidapp\n"}) {
        EXPECT_EQ(count(run.console(), direct), 1) << direct;
        EXPECT_THAT(run.records(), testing::Each(testing::Not(HasSubstr(direct))));
    }
    VirtualBoard fourInputs("board-4-alarms");
    fourInputs.settings.faults = {{"ZORIO_GET_ALARM_IN", "", 1, true}};
    const auto unread = fourInputs.run({"netR8test"});
    EXPECT_THAT(unread.console(), HasSubstr("IOCTL ERROR\n"));
    EXPECT_THAT(unread.records(), testing::Each(testing::Not(HasSubstr("IOCTL ERROR"))));
}

TEST(Network, EveryFailedRequestStillEndsInAVerdictForEachCard) {
    sweepFailures(runTool, {"-o", "11"}, [](const vboard::Run& run, const std::string& console) {
        if (run.errors.find("creat socket error") != std::string::npos) {
            EXPECT_EQ(count(console, "网卡1"), 0);
            return;
        }
        const int cards = console.find("设备网卡个数(2)") != std::string::npos ? 2 : 1;
        EXPECT_EQ(count(console, "网络连接接通 \n") + count(console, "ETHTOOL_GLINK failed: \n"), cards);
        EXPECT_EQ(count(console, "1000M\n") + count(console, "ETHTOOL_GLINK failed\n"),
                  count(console, "网络连接接通 \n"));
        EXPECT_EQ(count(console, " mac地址:"), cards);
    });
}
