// Test 10: which chips are updated through which disks, their resets and verdicts.

#include <cstring>
#include <sstream>

#include "tests/pm_update.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using namespace vboard;
using namespace pm;

namespace {

// The update run's own lines, without those of the updates.
std::string runLines(const std::string& console) {
    std::string lines;
    std::istringstream stream(console);
    for (std::string line; std::getline(stream, line);) {
        const std::string start = line.substr(0, 4);
        lines += start == "INFO" || start == "ERR " || start == "WRN " || line == "." ? "" : line + "\n";
    }
    return lines;
}

// "a-" disk a does not open, "b+" it does, "1" chip 1 is announced, "r" a chip is reset.
std::string stepLines(const std::string& steps) {
    std::string lines;
    std::istringstream words(steps);
    for (std::string word; words >> word;) {
        const std::string open = "open /dev/sd" + word.substr(0, 1);
        lines += word == "r"          ? resetLine
                 : word.size() == 1   ? "test.." + word + "\r\n"
                 : word.back() == '+' ? open + " success!\n"
                                      : open + " fail!\n";
    }
    return lines;
}

}  // namespace

TEST_F(PmFirmware, GoesThroughTheChipsOfEachLayout) {
    const struct {
        unsigned ports;
        const char* disks;
        const char* blank;   // disks whose chip is written
        const char* silent;  // disks whose chip does not answer
        const char* steps;
        const char* verdicts;
        Lines resets;
    } cases[] = {
        {5, "f", "", "", "a- b- c- d- e-", "N", {}},
        {5, "cd", "c", "", "a- b- c+ r", "P", {"0x100"}},
        {5, "ab", "b", "a", "a+", "F", {}},
        {5, "e", "", "", "a- b- c- d- e+", "P", {}},
        {9, "", "", "", "", "NN", {}},
        {9, "bi", "", "", "1 b+", "PN", {}},
        {9, "ij", "ij", "", "1 i+ r 2 j+ r", "PP", {"0x100", "0x80"}},
        {9, "aehk", "e", "a", "1 a+ 2 e+ r", "FP", {"0x80"}},
        {16, "q", "q", "", "", "NNNN", {}},
        {16, "efp", "f", "e", "2 e+ 4 p+", "NFNP", {}},
        {16, "hp", "hp", "", "2 h+ 4 p+ r r", "NPNP", {"0x100", "0x80"}},
        {16, "dhl", "dh", "", "1 d+ 2 h+ 3 l+ r", "PPPN", {"0x100"}},
        {16, "aeim", "eim", "a", "1 a+ 2 e+ 3 i+ 4 m+ r r", "FPPP", {"0x100", "0x80"}},
    };
    for (const auto& [ports, disks, blank, silent, steps, verdicts, groups] : cases) {
        SCOPED_TRACE(std::to_string(ports) + " ports, disks " + disks);
        board.chips.clear();
        board.drives.drives.clear();
        for (const char disk : std::string(disks)) {  // each its own chip, so that none is asked unseen
            chip = addChip(disk);
            prepare(std::strchr(blank, disk) != nullptr ? Held::blank : Held::equal);
            chip->registers[pmRegister::presence] = std::strchr(silent, disk) != nullptr ? 0 : 0x8F;
        }
        const auto run = update(ports);
        EXPECT_EQ(runLines(run.console()), "sata_port_num = " + std::to_string(ports) + " \n" +
                                               stepLines(steps) + verdictLines(verdicts));
        EXPECT_EQ(resets(run), groups);
        for (const PortMultiplier& each : board.chips) {
            EXPECT_EQ(each.requestCount() != 0, count(steps, each.disks[0] + "+") != 0) << each.disks[0];
        }
    }
}

TEST_F(PmFirmware, DescriptorZeroIsNoDisk) {
    chip = addChip('b');
    prepare(Held::equal);
    for (const auto& [ports, says] :
         {std::pair("diskPortCount=5", "open /dev/sda fail!\nopen /dev/sdb success!\n"),
          {"diskPortCount=16", " \ntest..1\r\nopen /dev/sdb success!\n"}}) {
        const auto run = runModule(board, {ports, "closeStandardInput", "portMultiplierRun"});
        EXPECT_EQ(run.requests("open", "/dev/sda").at(0).result, 0);
        EXPECT_THAT(run.console(), HasSubstr(says));
    }
}

TEST_F(PmFirmware, EachRepetitionStartsAfresh) {
    for (const unsigned ports : {0U, 1U, 4U, 8U, 15U, 255U}) {
        const std::string number = std::to_string(ports);
        const std::string wrong =
            "sata_port_num = " + number + " \n硬盘个数为" + number + ",请检查CPLD是否正确烧写\n";
        EXPECT_EQ(update(ports).console(), wrong);
        EXPECT_EQ(update(ports, 2).console(), "\n第1次测试\n" + wrong + "\n第2次测试\n" + wrong);
    }
    EXPECT_EQ(update(16, 0).console(), "");

    prepare(Held::blank);  // written and reset in the first repetition, left alone in the second
    const auto run = update(16, 2);
    const std::string second = run.console().substr(run.console().find(secondLine));
    EXPECT_EQ(resets(run), Lines{"0x100"});
    EXPECT_EQ(count(run.console(), "test..1\r\n"), 2);
    EXPECT_THAT(second, Not(HasSubstr(resetLine)));
    EXPECT_THAT(second, EndsWith(verdictLines("PNNN")));
}
