// The board description: what the report prints for it, and what the tool takes the board to be.

#include "r8/board/boardinfo.h"

#include "r8/board/board_config.h"
#include "r8/board/control_device.h"
#include "r8/driver/report/report_channel.h"
#include "tests/tool_runs.h"

using testing::HasSubstr;
using vboard::VirtualBoard;

namespace {

// The report of test 1 without the line that every start prints.
std::string report(VirtualBoard& board) {
    const std::string console = board.run({"-o", "1"}).console();
    return console.substr(console.find('\n') + 1);
}

struct Byte {
    std::size_t offset;
    std::uint8_t value;
};

}  // namespace

TEST(BoardInfo, AnAllZeroDescriptionPrintsEveryPropertyInOrder) {
    VirtualBoard board = VirtualBoard::healthy();
    board.control.cpld = {};
    EXPECT_EQ(
        report(board),
        "=============== CPLD INFO ===============\n"
        "pcb:QM-0x0\nNB-5071-3\nARM主频:1000MHz\nSDRAM频率:800MHz\n1GB(2片4Gb,1个32bit接口)\n"
        "FLASH类型:SPI NOR FLASH\nFLASH:16MB\nVGA输出个数:0\nhdmi输出个数:0\ncvbs输出个数:0\n"
        "CPLD Date:0年0月0日.\n音频输入个数:0\n语音对讲:0\n音频输出个数:0\nMAC0模式:关闭\nMAC1模式:关闭\n"
        "MAC0:RTL8309M\nMAC1:RTL8211E\n支持RS232个数:0\n支持RS485个数:0\n硬盘接口数量:0\n"
        "SATA PM芯片类型:无PM芯片\nUSB个数:0\n面板类型:有按键面板\n设备类型:DVR\n报警输入个数:0\n"
        "报警输出个数:0\nphy0 id:0\nphy1 id:0\n");
}

TEST(BoardInfo, EveryFieldIsReadFromItsPlaceAndEveryTableHasItsLines) {
    const struct {
        std::vector<Byte> bytes;
        std::string says;
    } cases[] = {
        {{{4, 0x34}, {5, 0x12}}, "\npcb:QM-0x4660\n"},
        {{{16, 0x1F}}, "\nSDRAM频率:0x1未知\n控制器位宽:0xf未知\n"},
        {{{16, 0x03}}, "\nSDRAM频率:800MHz\n控制器位宽:0x3未知\n"},
        {{{16, 0x01}}, "\n512MB(2片2Gb,1个32bit接口)\n"},
        {{{16, 0x02}}, "\n2GB(1片8Gb,1个32bit接口)\n"},
        {{{17, 0x5A}}, "\n芯片:0x5未知\nARM主频:0xa未知\n"},
        {{{19, 0x11}}, "\nFLASH类型:未知\nFLASH:8MB\n"},
        {{{19, 0x02}}, "\nFLASH类型:SPI NOR FLASH\nFLASH:未知\n"},
        {{{20, 0x63}, {21, 0x51}}, "\nCPLD Date:14年5月23日.\n"},
        {{{20, 0xFF}, {21, 0xFF}}, "\nCPLD Date:45年15月45日.\n"},
        {{{23, 0x11}}, "\n面板类型:无按键面板\n设备类型:DVS\n"},
        {{{23, 0x02}}, "\n设备类型:NVR\n"},
        {{{23, 0x23}}, "\n面板类型:0x2未知\n设备类型:0x3未知\n"},
        {{{24, 0xF1}}, "\n语音对讲:1\n"},
        {{{24, 0x02}}, "\n语音对讲:0x2未知\n"},
        {{{25, 0x12}}, "\n音频输入个数:18\n"},
        {{{27, 0x12}}, "\n音频输出个数:1\n"},
        {{{29, 0x12}}, "\nMAC0模式:MII\nMAC1模式:RMII\n"},
        {{{29, 0x31}}, "\nMAC0模式:RGMII\nMAC1模式:MII\n"},
        {{{29, 0x23}}, "\nMAC0模式:RMII\nMAC1模式:RGMII\n"},
        {{{29, 0x4F}}, "\nMAC0模式:0x4未知\nMAC1模式:0xf未知\n"},
        {{{30, 1}, {31, 4}}, "\nMAC0:0x4未知\nMAC1:0x1未知\n"},
        {{{31, 1}}, "\nMAC0:RTL8211E\n"},
        {{{31, 2}}, "\nMAC0:IP1818+IP108A\n"},
        {{{31, 3}}, "\nMAC0:RTL8306M\n"},
        {{{31, 0xFF}}, "\nMAC0:0xff未知\n"},
        {{{32, 7}, {33, 9}}, "\nphy0 id:9\nphy1 id:7\n"},
        {{{34, 0x1F}}, "\nSATA PM芯片类型:88E9705\n"},
        {{{34, 0x20}}, "\nSATA PM芯片类型:0x2未知\n"},
        {{{35, 4}}, "\n硬盘接口数量:4\nSATA PM"},
        {{{35, 3}}, "\nCPLD 信息错误\n硬盘接口数量:3\nSATA PM"},
        {{{35, 5}}, "\nCPLD 信息错误\n硬盘接口数量:5\nSATA PM"},
        {{{35, 6}}, "\n支持RS485个数:0\nSATA PM"},
        {{{35, 16}}, "\n支持RS485个数:0\nSATA PM"},
        {{{35, 255}}, "\n支持RS485个数:0\nSATA PM"},
        {{{37, 0x4F}}, "\nUSB个数:4\n"},
        {{{38, 3}, {39, 200}}, "\n报警输入个数:200\n报警输出个数:3\n"},
        {{{40, 0x2F}, {41, 0x31}}, "\nVGA输出个数:3\nhdmi输出个数:1\ncvbs输出个数:2\n"},
        {{{42, 0x10}, {43, 0x21}}, "\n支持RS232个数:2\n支持RS485个数:1\nRS485类型:半双工\n"},
        {{{42, 0x20}, {43, 0x21}}, "\n支持RS485个数:1\nRS485类型:半双工\n"},
        {{{42, 0x0F}, {43, 0x21}}, "\n支持RS485个数:1\nRS485类型:全双工\n"},
    };
    for (const auto& [bytes, says] : cases) {
        VirtualBoard board = VirtualBoard::healthy();
        board.control.cpld = {};
        for (const Byte& byte : bytes) {
            board.control.cpld.bytes[byte.offset] = byte.value;
        }
        EXPECT_THAT(report(board), HasSubstr(says));
    }
}

TEST(BoardInfo, AFailedReadIsSaidAndFailsTheCpldItemOnly) {
    const struct {
        vboard::Fault fault;
        std::string says;
    } cases[] = {
        {{"open", "/dev/zorio", 3, true}, "sysInit 1 Fatal\n"},
        {{"ZORIO_GET_CPLD_INFO", "", 2, false, EBUSY}, "ioctl get cpld error, errno=16.\n"},
    };
    for (const auto& [fault, says] : cases) {
        VirtualBoard single = VirtualBoard::healthy();
        single.settings.faults = {fault};
        const auto run = single.run({"-o", "1"});
        EXPECT_EQ(run.console(), "设备网卡个数(2)\n" + says);
        EXPECT_TRUE(run.openAtEnd.empty());
    }
    VirtualBoard board = VirtualBoard::healthy();
    const auto opens = board.run({"netR8test"}).requests("open", "/dev/zorio").size();
    const vboard::Fault lastButOneOpen = {"open", "/dev/zorio", static_cast<unsigned>(opens) - 1};
    for (const vboard::Fault& fault : {cases[1].fault, lastButOneOpen}) {
        board.settings.faults = {fault};
        const std::string records = joined(board.run({"netR8test"}).records());
        EXPECT_THAT(records, HasSubstr("CPLD       : 失败  \n"));
        EXPECT_THAT(records, testing::Not(HasSubstr("CPLD INFO")));
    }
    CpldInfo info;
    EXPECT_EQ(getCpldInfo(-1, &info), -1);
}

TEST(BoardInfo, OnlySmallCountsReachTheConfiguration) {
    const struct {
        std::uint8_t count;
        int configured;
    } cases[] = {{0, 0}, {1, 1}, {2, 2}, {3, 77}, {4, 4}, {5, 77}, {6, 77}, {8, 77}, {16, 77}};
    for (const auto& [count, configured] : cases) {
        CpldInfo info = {};
        info.bytes[35] = count;
        boardConfig.diskPortCount = 77;
        testing::internal::CaptureStdout();
        PrintCpldInfo(&info);
        (void)testing::internal::GetCapturedStdout();
        EXPECT_EQ(boardConfig.diskPortCount, configured);
    }
    boardConfig = {};
}

TEST(BoardConfig, IsDerivedFromTheDescription) {
    const struct {
        std::vector<Byte> bytes;
        std::uint32_t cards;
        int poe, panel, disks, esata;
    } cases[] = {
        {{}, 1, 0, 1, 0, 0},
        {{{23, 0x10}}, 1, 0, 0, 0, 0},
        {{{23, 0x02}}, 1, 0, 1, 0, 0},
        {{{29, 0x01}, {31, 2}}, 1, 0, 1, 0, 0},
        {{{29, 0x31}, {31, 0}}, 2, 1, 1, 0, 0},
        {{{29, 0x31}, {31, 1}}, 2, 0, 1, 0, 0},
        {{{29, 0x31}, {31, 2}}, 2, 1, 1, 0, 0},
        {{{29, 0x31}, {31, 3}}, 2, 1, 1, 0, 0},
        {{{29, 0x31}, {31, 4}}, 2, 1, 1, 0, 0},
        {{{29, 0x31}, {31, 5}}, 2, 0, 1, 0, 0},
        {{{34, 0x11}, {35, 16}}, 1, 0, 1, 16, 1},
        {{{34, 0x12}, {35, 9}}, 1, 0, 1, 77, 1},  // unknown codes leave what there is
        {{{35, 5}}, 1, 0, 1, 77, 0},
        {{{35, 8}}, 1, 0, 1, 8, 0},
    };
    for (const auto& [bytes, cards, poe, panel, disks, esata] : cases) {
        VirtualBoard board = VirtualBoard::healthy();
        board.control.cpld = {};
        for (const Byte& byte : bytes) {
            board.control.cpld.bytes[byte.offset] = byte.value;
        }
        EXPECT_EQ(runModule(board, {"diskPortCount=77", "loadBoardConfig"}).console(),
                  "设备网卡个数(" + std::to_string(cards) + ")\npoe " + std::to_string(poe) + " panel " +
                      std::to_string(panel) + " disks " + std::to_string(disks) + " esata " +
                      std::to_string(esata) + "\n");
    }
}
