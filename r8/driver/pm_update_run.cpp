#include "r8/driver/pm_update_run.h"

#include <fcntl.h>
#include <unistd.h>

#include "r8/board/board_config.h"
#include "r8/board/control_device.h"
#include "r8/pmfw/pm_firmware.h"
#include "r8/print.h"

namespace {

constexpr int maxChips = 4;
constexpr unsigned long resetGroup1 = 0x100;
constexpr unsigned long resetGroup2 = 0x80;

enum class Verdict { notTested, passed, failed };

struct Chip {
    Verdict verdict = Verdict::notTested;
    bool resetWanted = false;
};

using Chips = Chip[maxChips];

// The chip, counted from 0, behind which each disk sits, from "/dev/sda" on.
constexpr int ninePortChips[] = {0, 0, 0, 0, 1, 1, 1, 1, 0, 1};
constexpr int sixteenPortChips[] = {0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3};

constexpr const char* chipAnnouncements[maxChips] = {"test..1\r", "test..2\r", "test..3\r", "test..4\r"};

const char* verdictText(const Chip& chip) {
    switch (chip.verdict) {
        case Verdict::passed:
            return "正常";
        case Verdict::failed:
            return "发生错误";
        case Verdict::notTested:
            break;
    }
    return "未进行测试";
}

// Only a result above 0 is a disk: a tool started without standard input gets 0 once, and it is left open in
// its place.
int openDisk(char letter) {
    char node[sizeof "/dev/sdX"];
    (void)formatText(node, sizeof node, "/dev/sd%c", letter);
    return open(node, O_RDONLY);
}

void updateChip(int diskFd, char letter, Chip& chip) {
    print("open /dev/sd%c success!\n", letter);
    if (pmpfwupdate(diskFd) != 0) {
        chip.verdict = Verdict::failed;
        return;
    }
    chip.verdict = Verdict::passed;
    chip.resetWanted = pmFlashUpdated == 1;
}

void resetIfWanted(bool wanted, unsigned long group) {
    if (wanted) {
        (void)resetPortMultiplier(group);  // always 0
    }
}

void updateFivePorts(Chips& chips) {
    for (char letter = 'a'; letter <= 'e'; ++letter) {
        const int diskFd = openDisk(letter);
        if (diskFd <= 0) {
            print("open /dev/sd%c fail!\n", letter);
            continue;
        }
        updateChip(diskFd, letter, chips[0]);
        resetIfWanted(chips[0].resetWanted, resetGroup1);
        (void)close(diskFd);
        return;
    }
}

// Opens every disk, but hands only the first of each chip to the update; afterUpdate follows it, the disk
// still open.
template <int diskCount>
void updateByDisk(const int (&chipOfDisk)[diskCount], Chips& chips, void (*afterUpdate)(Chips&, int chip)) {
    for (int disk = 0; disk < diskCount; ++disk) {
        const char letter = static_cast<char>('a' + disk);
        const int diskFd = openDisk(letter);
        if (diskFd <= 0) {
            continue;
        }
        const int chip = chipOfDisk[disk];
        if (chips[chip].verdict == Verdict::notTested) {
            print("%s\n", chipAnnouncements[chip]);
            updateChip(diskFd, letter, chips[chip]);
            afterUpdate(chips, chip);
        }
        (void)close(diskFd);
    }
}

void updateNinePorts(Chips& chips) {
    updateByDisk(ninePortChips, chips, [](Chips& all, int chip) {
        resetIfWanted(all[chip].resetWanted, chip == 0 ? resetGroup1 : resetGroup2);
    });
}

// Two chips share a reset line here, so the resets wait until all chips are through.
void updateSixteenPorts(Chips& chips) {
    updateByDisk(sixteenPortChips, chips, [](Chips&, int) {});
    resetIfWanted(chips[0].resetWanted || chips[1].resetWanted, resetGroup1);
    resetIfWanted(chips[2].resetWanted || chips[3].resetWanted, resetGroup2);
}

void printVerdicts(const Chips& chips, int chipCount) {
    print("测试结果如下\n");
    print("Chip1 %s\n", verdictText(chips[0]));
    if (chipCount > 1) {
        print("Chip2 %s\n", verdictText(chips[1]));
    }
    if (chipCount > 2) {
        print("Chip3 %s\n", verdictText(chips[2]));
        print("Chip4 %s\n", verdictText(chips[3]));
    }
}

void updateBoard(int diskPorts) {
    Chips chips;
    switch (diskPorts) {
        case 5:
            updateFivePorts(chips);
            printVerdicts(chips, 1);
            break;
        case 9:
            updateNinePorts(chips);
            printVerdicts(chips, 2);
            break;
        case 16:
            updateSixteenPorts(chips);
            printVerdicts(chips, 4);
            break;
        default:
            print("硬盘个数为%d,请检查CPLD是否正确烧写\n", diskPorts);
    }
}

}  // namespace

void portMultiplierRun(unsigned count) {
    for (unsigned done = 0; done < count; ++done) {
        if (count > 1) {
            print("\n第%d次测试\n", static_cast<int>(done + 1));
        }
        const int diskPorts = boardConfig.diskPortCount;
        print("sata_port_num = %d \n", diskPorts);
        updateBoard(diskPorts);
    }
}
