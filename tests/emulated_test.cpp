// The host's side of the emulated board, without a machine: ./check --emulated has the machines.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/rtc.h>

#include <fstream>

#include "emulated/far_ends.h"
#include "emulated/host.h"
#include "emulated/plan.h"
#include "emulated/refusals.h"
#include "vboard/board.h"

using namespace emulated;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using vboard::VirtualBoard;

namespace {

// No disk that would want tools for file systems.
void leaveBlankDisk(VirtualBoard& board) {
    board.usb.disks.clear();
    board.usb.disks["msa"].partitions = 0;
    board.usb.disks["msa"].mount = vboard::UsbDisk::Mount::never;
}

Plan planOf(const VirtualBoard& board, const std::string& command) {
    const TemporaryFolder folder;
    UsbPlugs plugs(folder.path);
    return makePlan(board, {"case", "", command}, Hardware(board), plugs);
}

TEST(Emulated, EachInterfaceGetsACardOfItsSpeed) {
    VirtualBoard board("healthy");
    board.network.interfaces["eth1"].speed = 100;
    EXPECT_STREQ(cardsOf(board).at("eth0")->id, "card1");
    EXPECT_STREQ(cardsOf(board).at("eth1")->id, "card3");
    board.network.interfaces["eth0"].speed = 100;
    EXPECT_EQ(cardsOf(board).at("eth1"), nullptr);
    EXPECT_THAT(refusalsOf(board), ElementsAre(HasSubstr("network.interface eth1")));
    board.network.interfaces["eth1"].missing = true;
    EXPECT_THAT(refusalsOf(board), IsEmpty());
}

TEST(Emulated, WhatTheNextCaseNeedsStaysPluggedIn) {
    const TemporaryFolder folder;
    UsbPlugs plugs(folder.path);
    VirtualBoard board("healthy");
    leaveBlankDisk(board);
    EXPECT_EQ(plugs.change(board).size(), 3U);  // mouse, image, disk
    EXPECT_THAT(plugs.change(board), IsEmpty());
    const std::string before = plugs.serialOf("msa");
    board.usb.disks["msa"].fileSystem.freeBlocks /= 2;
    const std::vector<std::string> changed = plugs.change(board);
    ASSERT_EQ(changed.size(), 3U);
    EXPECT_THAT(changed[0], HasSubstr("device_del\",\"arguments\":{\"id\":\"" + before));
    EXPECT_NE(plugs.serialOf("msa"), before);  // the machine must not take the one for the other
    EXPECT_TRUE(plugs.hasUsb3());
    board.usb.usb3 = false;
    EXPECT_EQ(plugs.change(board).size(), 3U);
    EXPECT_FALSE(plugs.hasUsb3());
    board.usb.mice.clear();
    EXPECT_THAT(plugs.change(board), ElementsAre(HasSubstr("device_del")));
}

TEST(Emulated, AMachineCarriesBoardsWithItsOwnDrivesOnly) {
    const VirtualBoard healthy("healthy");
    const Hardware hardware(healthy);
    EXPECT_TRUE(hardware.carries(VirtualBoard("faulty-drive-missing")));
    EXPECT_EQ(hardware.portOf("sda"), "ata2");  // behind "esda"
    VirtualBoard other("healthy");
    other.drives["sdb"].serial = "another";
    EXPECT_FALSE(hardware.carries(other));
    EXPECT_FALSE(Hardware(VirtualBoard("faulty-drive-silent")).carries(healthy));
    VirtualBoard later("healthy");
    later.epoch += std::chrono::seconds(1);
    EXPECT_FALSE(hardware.carries(later));
}

TEST(Emulated, OnlyANetworkedRunHasAReader) {
    VirtualBoard board("healthy");
    leaveBlankDisk(board);
    EXPECT_THAT(planOf(board, "r8 netR8test").guest, Contains("reportPipe yes"));
    EXPECT_THAT(planOf(board, "r8").guest, Contains("reportPipe no"));
    board.supervisor.reader = vboard::Supervisor::Reader::absent;
    EXPECT_THAT(planOf(board, "r8 netR8test").guest, Contains("reportPipe no"));
    board.clockChip.missing = true;
    EXPECT_THAT(planOf(board, "r8").guest, Contains("rm /dev/rtc0"));
    EXPECT_THAT(planOf(board, "r8").guest, Not(Contains(HasSubstr("cuse/clock"))));
}

TEST(Emulated, ModelsAnswerTheMachinesRequests) {
    VirtualBoard board("faulty-clock-drift");
    board.settings.faults.push_back({"ZORIO_SET_BUZZER", "", 2, false, EBUSY});
    FarEnds ends(board);
    ends.catchUp(std::chrono::seconds(10));
    ControlMessage message = {RTC_RD_TIME, 1, 0, sizeof(rtc_time), 0, {}};
    ends.answerClock(message);
    EXPECT_EQ(message.error, 0);
    EXPECT_EQ(reinterpret_cast<const rtc_time*>(message.data)->tm_sec, 2);  // of 10 s it lost 8
    for (const int error : {0, EBUSY, 0}) {
        message = {ZORIO_SET_BUZZER, 1, 0, 1, 0, {1}};
        ends.answer(message);
        EXPECT_EQ(message.error, error);
    }
    message.size = 2;  // not the request's shape
    ends.answer(message);
    EXPECT_EQ(message.error, ENOTTY);
    EXPECT_TRUE(ends.trace.back().refused);
}

TEST(Emulated, ListsOfCasesAreReadStrictly) {
    const TemporaryFolder folder;
    const std::string list = folder.path / "list";
    std::ofstream(list) << "one healthy measured r8 'netR8test'\n";
    EXPECT_EQ(readCases(list).at(0).command, "measured r8 'netR8test'");
    std::ofstream(list) << "two healthy\n";
    EXPECT_THROW(readCases(list), std::runtime_error);
    EXPECT_THROW(toolCommand({"it's"}), std::runtime_error);
}

}  // namespace
