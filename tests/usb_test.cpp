// The USB port test as the operator and the mount table see it.

#include <set>

#include "tests/tool_runs.h"

using testing::HasSubstr;
using testing::IsEmpty;
using vboard::VirtualBoard;

namespace {

using Names = std::vector<std::string>;

// "msa1" for "/dev/msa1 剩余空间 = ..."
Names reportedDisks(const std::string& console) {
    Names names;
    const std::string device = "/dev/";
    for (std::size_t at = console.find(" 剩余空间 = "); at != std::string::npos;
         at = console.find(" 剩余空间 = ", at + 1)) {
        const std::size_t start = console.rfind(device, at) + device.size();
        names.push_back(console.substr(start, at - start));
    }
    return names;
}

// A board with nothing in its USB ports but what the text says.
void plugOnly(VirtualBoard& board, const std::string& text) {
    loadHealthyWith(board, "");
    board.usb.mice.clear();
    board.usb.disks.clear();
    loadScenarioText(board, text, "test");
}

std::string disk(const std::string& name, unsigned partitions, const std::string& more = "") {
    return "[[usb.disk]]\nname = '" + name + "'\npartitions = " + std::to_string(partitions) + "\n" + more +
           "\n";
}

}  // namespace

TEST(Usb, CountsMiceAndDisksAndReportsEachDisk) {
    std::string nine;
    for (char letter = 'a'; letter <= 'i'; ++letter) {
        nine += disk(std::string("ms") + letter, 0);
    }
    const struct {
        std::string plugged;
        Names order, reported;
        int found;
    } cases[] = {
        {"", {}, {}, 0},
        {"usb.mice = ['mouse0']", {}, {}, 1},
        {"usb.mice = ['mouse0', 'mouse1', 'mouse2', 'mouse3']", {}, {}, 3},
        {disk("msmem", 0), {}, {}, 0},
        {disk("msa", 0), {}, {"msa"}, 1},
        {disk("msa", 1), {"msa", "msa1"}, {"msa1"}, 1},
        {disk("msa", 1), {"msa1", "msa"}, {"msa1"}, 1},
        {disk("msa", 3), {"msa", "msa1", "msa2", "msa3"}, {"msa3"}, 1},
        {disk("msa", 3), {"msa3", "msa", "msa1", "msa2"}, {"msa2"}, 1},
        {disk("msa", 1) + disk("msb", 1), {"msa", "msb", "msa1"}, {"msa", "msb", "msa1", "msb1"}, 4},
        {disk("msax", 0) + disk("msay", 0), {}, {"msax", "msay"}, 2},
        {nine, {}, {"msa", "msb", "msc", "msd", "mse", "msf", "msg", "msh"}, 8},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.plugged);
        VirtualBoard board;
        plugOnly(board, row.plugged);
        board.usb.order = row.order;
        const auto run = board.run(Names{});
        const std::string console = run.console();
        EXPECT_EQ(reportedDisks(console), row.reported);
        EXPECT_EQ(count(console, "没有接usb\n"), row.reported.empty() ? 1 : 0);
        EXPECT_EQ(run.requests("opendir", "/sys/bus/usb/devices").size(), row.reported.empty() ? 0U : 1U);
        EXPECT_THAT(console, HasSubstr("USB口       : " + std::to_string(row.found) + "  \n"));
        EXPECT_THAT(board.usb.mounted, IsEmpty());
        EXPECT_FALSE(run.anyRefused());
    }
}

// Of a disk and its partitions listed side by side one entry stays, in whatever order.
TEST(Usb, NoOrderOfTheDirectoryLosesADisk) {
    Names order = {"msa", "msa1", "msb", "msb1"};
    do {
        SCOPED_TRACE(testing::PrintToString(order));
        VirtualBoard board;
        plugOnly(board, disk("msa", 1) + disk("msb", 1));
        board.usb.order = order;
        const Names reported = reportedDisks(board.run({"-o", "7"}).console());
        std::set<char> disks;
        int changes = 0;
        for (std::size_t i = 0; i < order.size(); ++i) {
            changes += i != 0 && order[i][2] != order[i - 1][2] ? 1 : 0;
        }
        for (const std::string& name : reported) {
            disks.insert(name[2]);
            EXPECT_TRUE(name.size() == 4 || changes > 1) << "a whole disk beside its partition: " << name;
        }
        EXPECT_EQ(disks.size(), 2U);
        EXPECT_EQ(reported.size(), static_cast<std::size_t>(changes) + 1);
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(Usb, FreeSpaceInWholeMebibytes) {
    const struct {
        std::uint64_t freeBlocks, blockBytes;
        const char* figure;
    } cases[] = {
        {0, 4096, "0M"},
        {4999, 4096, "0M"},
        {5000, 4096, "0M"},
        {6023, 4096, "0M"},
        {6024, 4096, "4M"},
        {6024, 512, "0M"},
        {5000 + 2048, 512, "1M"},
        {0x100001388, 512, "2097152M"},
        {0x100001388, 32768, "134217728M"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.freeBlocks);
        VirtualBoard board;
        plugOnly(board, disk("msa", 1));
        board.usb.disks["msa"].fileSystem = {row.blockBytes, row.freeBlocks, row.freeBlocks};
        EXPECT_THAT(board.run({"-o", "7"}).console(),
                    HasSubstr(std::string("/dev/msa1 剩余空间 = ") + row.figure + "\n"));
    }
}

TEST(Usb, ShellCommandsStandInForFailedMounts) {
    const struct {
        const char *disk, *mountPoint;
        std::vector<vboard::Fault> faults;
        const char* line;
        Names commands;
    } cases[] = {
        {"mount = 'works'", "", {}, "/dev/msa1 剩余空间 = 96M\n", {}},
        {"mount = 'works'", "msa1", {}, "/dev/msa1 剩余空间 = 96M\n", {"mkdir /mnt/msa1\n"}},
        {"mount = 'works'",
         "",
         {{"mkdir", "", 1, false, EROFS}},
         "/dev/msa1 剩余空间 = 96M\n",
         {"mkdir /mnt/msa1\n"}},
        {"mount = 'by shell only'",
         "",
         {},
         "/dev/msa1 剩余空间 = 96M\n",
         {"mount -t vfat /dev/msa1  /mnt/msa1\n"}},
        {"mount = 'never'", "", {}, "/dev/msa1 剩余空间 = 4M\n", {"mount -t vfat /dev/msa1  /mnt/msa1\n"}},
        {"mount = 'never'",
         "msa1",
         {},
         "/dev/msa1 剩余空间 = 4M\n",
         {"mkdir /mnt/msa1\n", "mount -t vfat /dev/msa1  /mnt/msa1\n"}},
        {"queryFails = true", "", {}, "Failed to statfs", {}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(std::string(row.disk) + " " + row.mountPoint);
        VirtualBoard board;
        plugOnly(board, disk("msa", 1, std::string(row.disk) + "\nfreeBlocks = 30000"));
        if (*row.mountPoint != '\0') {
            board.usb.mountPoints = {row.mountPoint};
        }
        board.settings.faults = row.faults;
        const auto run = board.run(Names{});
        Names commands;
        for (const vboard::TraceEntry& entry : run.requests("system")) {
            commands.push_back(entry.where);
        }
        EXPECT_THAT(run.console(), HasSubstr(row.line));
        EXPECT_EQ(commands, row.commands);
        EXPECT_EQ(run.requests("mkdir", "/mnt/msa1").at(0).option, 0777U);
        EXPECT_EQ(run.requests("mount", "/mnt/msa1").at(0).option, 0U);
        EXPECT_EQ(run.requests("umount", "/mnt/msa1").size(), 1U);
        EXPECT_THAT(board.usb.mounted, IsEmpty());
        EXPECT_THAT(run.console(), HasSubstr(std::string("USB口       : ") + (*row.line == 'F' ? '0' : '1')));
    }
}

TEST(Usb, ADirectoryThatDoesNotOpen) {
    VirtualBoard board = VirtualBoard::healthy();
    board.settings.faults = {{"opendir", "/dev", 1, false, ENOENT}};
    const auto blind = board.run(Names{});
    EXPECT_EQ(blind.errors, "can not open directory /proc\n");
    EXPECT_THAT(blind.console(), HasSubstr("USB口       : 0  \n"));
    board.settings.faults = {{"opendir", "/sys/bus/usb/devices", 1, false, ENOENT}};
    const auto withoutUsb3 = board.run(Names{});
    EXPECT_EQ(withoutUsb3.errors, "can not open directory /proc\n");
    EXPECT_THAT(withoutUsb3.console(), HasSubstr("没有3.0USB\n/dev/msa1 剩余空间 = "));
}

TEST(Usb, OnlyTheFirstRootPortOfBus4IsUsb3) {
    for (const auto& [entry, found] :
         {std::pair("4-1", 1), {"4-1:1.0", 1}, {"4-2", 0}, {"14-1", 0}, {"usb4", 0}}) {
        VirtualBoard board = VirtualBoard::healthy();
        board.usb.usb3 = false;
        board.usb.busEntries = {"3-1", entry};
        EXPECT_EQ(count(board.run({"-o", "7"}).console(), "找到3.0USB\n"), found) << entry;
    }
}

TEST(Usb, EveryFailedRequestStillEndsInAVerdictForEachDisk) {
    sweepFailures(
        runModule, {"usbPortCount=3", "UsbPortTest", "printSummary"},
        [](const vboard::Run& run, const std::string& console) {
            const bool blind = count(console, "3.0USB\n") == 0;  // "/dev" did not open
            EXPECT_EQ(blind, run.errors.find("/proc") != std::string::npos && run.requests("mount").empty());
            const int disks = count(console, " 剩余空间 = ");
            EXPECT_EQ(disks + count(console, "Failed to statfs"), blind ? 0 : 2);
            EXPECT_EQ(run.requests("umount").size(), blind ? 0U : 2U);
            int found = -1;
            const std::string label = "USB口       : ";
            EXPECT_EQ(std::sscanf(console.c_str() + console.find(label) + label.size(), "%d", &found), 1);
            EXPECT_TRUE(found == disks || found == disks + 1) << console;  // with or without the mouse
            EXPECT_EQ(count(console, label + "error occured!"), found == 3 ? 0 : 1);
        });
}
