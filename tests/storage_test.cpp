// The drive query and the SATA port test as the operator and the drives see them.

#include "r8/storage/ata_drive.h"
#include "tests/tool_runs.h"

using testing::HasSubstr;
using vboard::VirtualBoard;

namespace {

using Names = std::vector<std::string>;

Names withPorts(unsigned internal, unsigned external) {
    return {"diskPortCount=" + std::to_string(internal), "esataPortCount=" + std::to_string(external),
            "sataPortTest"};
}

std::string missing(std::initializer_list<const char*> letters) {
    std::string text;
    for (const char* name : letters) {
        text += std::string("/dev/") + name + " 不存在\n";
    }
    return text;
}

// The requests on the first drive that ask for its size, in their order.
Names sizeRequests(const vboard::Run& run) {
    Names names;
    for (const vboard::TraceEntry& entry : run.trace) {
        if (entry.where == "/dev/sda" && entry.request.starts_with("BLKGETSIZE")) {
            names.push_back(entry.request);
        }
    }
    return names;
}

}  // namespace

TEST(Storage, NodeNamesOfEveryPortCount) {
    const std::string four = missing({"sda", "sdb", "sdc", "sdd"});
    const std::string eight = four + missing({"sdf", "sdg", "sdh", "sdi"});
    const std::string sixteen =
        eight + missing({"sdj", "sdk", "sdl", "sdm", "sdn", "sdo", "sdp", "sdq", "esda", "esdb"});
    const struct {
        unsigned internal, external, announced;
        std::string lines;
    } cases[] = {
        {0, 0, 0, ""},
        {0, 1, 0, missing({"esda"})},
        {1, 0, 1, missing({"sda"})},
        {1, 1, 1, missing({"sda", "sdf"})},
        {2, 0, 2, missing({"sda", "sdf"})},
        {2, 1, 2, missing({"sda", "sdf", "esda"})},
        {4, 0, 4, four},
        {4, 1, 4, four + missing({"esda"})},
        {5, 0, 4, four},
        {5, 1, 4, four + missing({"esda"})},
        {8, 0, 8, eight},
        {8, 1, 8, eight + missing({"esda"})},
        {9, 1, 8, eight + missing({"esda"})},
        {16, 0, 16, sixteen},
        {16, 1, 16, sixteen},
        {17, 1, 16, sixteen},
        {18, 0, 16, sixteen},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.internal);
        VirtualBoard board;
        EXPECT_EQ(runModule(board, withPorts(row.internal, row.external)).console(),
                  "设备有" + std::to_string(row.announced) + "个sata口\n" + row.lines);
    }
}

TEST(Storage, MissingInternalPortsAreNamedInTheSummary) {
    VirtualBoard board = VirtualBoard::healthy();
    board.control.setCpld(cpld.diskPortCount, 16);
    for (const char* drive : {"sda", "esda"}) {
        board.drives[drive].absent = true;
    }
    const std::string console = board.run(Names{}).console();
    EXPECT_THAT(console, HasSubstr("SATA口      : 端口1,5,6,7,8,9,10,11,12,13,14,15,16无连接\n"));
    EXPECT_THAT(console, HasSubstr("\nSATA口      : 3  \n"));
}

TEST(Storage, EachRunRebuildsTheMaskAndAddsToTheDrivesFound) {
    VirtualBoard board = VirtualBoard::healthy();
    board.drives["sdd"].unsized = true;
    const auto run = runModule(board, {"diskPortCount=4", "esataPortCount=1", "sataFailedMask=0xFF",
                                       "sataPortTest", "sataPortTest", "printSummary"});
    EXPECT_THAT(run.console(), HasSubstr("SATA口      : 端口4无连接\n"));
    EXPECT_THAT(run.console(), HasSubstr("\nSATA口      : 8  \n"));
    EXPECT_THAT(board.run({"netR8test"}).records(), testing::Contains("SATA口       : 端口4无连接\n"));
}

TEST(Storage, CapacityByEitherRequest) {
    const std::string size64 = "BLKGETSIZE64";
    const std::string size32 = "BLKGETSIZE";
    const std::uint64_t full = 1953525168;  // 1,000,204,886,016 bytes
    const std::string unknown = "Can not get /dev/sda size \n/dev/sda 无法获取硬盘容量\n";
    const struct {
        const char* kernel;
        std::uint64_t sectors;
        const char* failing;
        std::string text;
        Names requests;
    } cases[] = {
        {"2.4.17", full, "", "硬盘容量  :931GB\n", {size32}},
        {"2.4.18", full, "", "硬盘容量  :931GB\n", {size64}},
        {"2.4.255", full, "", "硬盘容量  :931GB\n", {size64}},
        {"2.5.0", full, "", "硬盘容量  :931GB\n", {size32}},
        {"2.5.75", full, "", "硬盘容量  :931GB\n", {size32}},
        {"2.6.0", full, "", "硬盘容量  :931GB\n", {size64}},
        {"2.6.24-xyz", full, "", "硬盘容量  :931GB\n", {size64}},
        {"3.0", full, "", "硬盘容量  :931GB\n", {size32}},
        {"3.0.1", full, "", "硬盘容量  :931GB\n", {size64}},
        {"unknown", full, "", "硬盘容量  :931GB\n", {size32}},
        {"2.6.24", full, "uname", "硬盘容量  :931GB\n", {size32}},
        {"2.6.24", full, "BLKGETSIZE64", "硬盘容量  :931GB\n", {size64, size32}},
        {"2.4.17", full, "BLKGETSIZE", unknown, {size32}},
        {"2.4.17", 0xFFFFFFFF, "", "硬盘容量  :2047GB\n", {size32}},
        {"2.4.17", 0x100000000, "", unknown, {size32}},  // more than 32 bits of sectors
        {"2.6.0", 0x100000000, "", "硬盘容量  :2048GB\n", {size64}},
        {"2.6.0", 2097151, "", "硬盘容量  :0GB\n", {size64}},
        {"2.6.0", 2097152, "", "硬盘容量  :1GB\n", {size64}},
        {"2.4.17", 2097151, "", "硬盘容量  :0GB\n", {size32}},
        {"2.4.17", 0, "", "硬盘容量  :0GB\n", {size32}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(std::string(row.kernel) + " " + row.failing + " " + std::to_string(row.sectors));
        VirtualBoard board;
        board.kernelRelease = row.kernel;
        board.drives["sda"].sectors = row.sectors;
        board.settings.faults = {{row.failing, "", 1, true, ENOTTY}};
        const auto run = runModule(board, withPorts(1, 0));
        EXPECT_THAT(run.console(), testing::EndsWith("\n" + row.text));
        EXPECT_EQ(sizeRequests(run), row.requests);
        EXPECT_EQ(run.requests("uname").size(), 1U);
        EXPECT_THAT(run.openAtEnd, testing::IsEmpty());
    }
}

TEST(Storage, IdentityInReadingOrderWithoutNuls) {
    const struct {
        std::string serial, model, firmware, shown;
    } cases[] = {
        {"AB", "C", "",
         "AB" + std::string(18, ' ') + "\n型号      :C" + std::string(39, ' ') +
             "\n固件版本  :" + std::string(8, ' ')},
        {"12345678901234567890", std::string(40, 'M'), "FIRMWARE",
         "12345678901234567890\n型号      :" + std::string(40, 'M') + "\n固件版本  :FIRMWARE"},
        {std::string("A\0\0B", 4) + std::string(16, '\0'), std::string("\0M 1", 4) + std::string(36, '\0'),
         std::string(8, '\0'), "AB\n型号      :M 1\n固件版本  :"},
    };
    for (const auto& row : cases) {
        VirtualBoard board;
        vboard::Drive& drive = board.drives["sda"];
        drive.serial = row.serial;
        drive.model = row.model;
        drive.firmware = row.firmware;
        const auto run = runModule(board, withPorts(1, 0));
        EXPECT_EQ(run.console(),
                  "设备有1个sata口\n/dev/sda\n序列号    :" + row.shown + "\n硬盘容量  :931GB\n");
        const auto identity = run.requests("HDIO_DRIVE_CMD").at(0).data;  // 4 bytes of registers before it
        EXPECT_EQ(std::string(identity.begin() + 24, identity.begin() + 26),
                  (std::string{row.serial[1], row.serial[0]}));
    }
}

TEST(Storage, EachStepOfAQueryMayFail) {
    const struct {
        const char* request;
        unsigned nth;
        std::string text;
    } cases[] = {
        {"open", 1, "设备有1个sata口\n/dev/sda 不存在\n"},
        {"HDIO_DRIVE_CMD", 1, "设备有1个sata口\nsend IDENTIFY DEVICE command, return -1\n/dev/sda 不存在\n"},
        {"open", 2, "\nCan not open /dev/sda \n/dev/sda 无法获取硬盘容量\n"},
    };
    for (const auto& row : cases) {
        VirtualBoard board;
        board.drives["sda"].serial = "A";
        board.settings.faults = {{row.request, "/dev/sda", row.nth, false, ENXIO}};
        EXPECT_THAT(runModule(board, withPorts(1, 0)).console(), testing::EndsWith(row.text));
    }
    EXPECT_EQ(ataIdentify(nullptr, nullptr), -1);
    EXPECT_EQ(deviceCapacity(nullptr), unknownCapacity);
}

TEST(Storage, EveryFailedRequestStillEndsInAVerdictForEachPort) {
    Names arguments = withPorts(4, 1);
    arguments.push_back("printSummary");
    sweepFailures(runModule, arguments, [](const vboard::Run&, const std::string& console) {
        const int absent = count(console, " 不存在\n");
        const int unsized = count(console, "无法获取硬盘容量\n");
        EXPECT_EQ(absent + unsized + count(console, "硬盘容量  :"), 5);
        EXPECT_EQ(count(console, "序列号    :"), 5 - absent);
        EXPECT_EQ(count(console, "Can not open ") + count(console, "Can not get "), unsized);
        std::string failed;
        for (const char letter : {'a', 'b', 'c', 'd'}) {  // the external port fails no board
            const std::string drive = std::string("/dev/sd") + letter;
            if (count(console, drive + " 不存在") + count(console, drive + " 无法") != 0) {
                failed += (failed.empty() ? "" : ",") + std::to_string(letter - 'a' + 1);
            }
        }
        EXPECT_EQ(count(console, "SATA口      : 端口" + failed + "无连接\n"), failed.empty() ? 0 : 1)
            << console;
    });
}
