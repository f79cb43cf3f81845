// The loop-back of the RS485 port with its two processes.

#include <csignal>

#include "tests/tool_runs.h"

using namespace std::chrono_literals;
using vboard::Time;
using vboard::VirtualBoard;

namespace {

const std::string boardLine = "设备网卡个数(2)\n";
constexpr char complete[] = "正确:    1024字节  \n错误:    0字节 \n";
constexpr char writerGaveUp[] = "no more data can write in 5 seconds,exit \n";

std::string incomplete(int matched, int mismatched) {
    return "发送  " + std::to_string(matched) + "字节成功\n    " + std::to_string(mismatched) + "字节失败 \n";
}

}  // namespace

TEST(Rs485Loopback, EachLineOnceWhateverStandardOutputIs) {
    using vboard::OutputKind;
    constexpr tcflag_t kept = PARODD | CRTSCTS;
    for (const OutputKind kind : {OutputKind::pipe, OutputKind::file, OutputKind::terminal}) {
        for (const bool closed : {false, true}) {
            VirtualBoard looped = VirtualBoard::healthy();
            looped.rs485.hearsItself = !closed;
            looped.rs485.line.attributes.c_cflag ^= CREAD | CLOCAL | kept | CSTOPB | PARENB;
            vboard::ToolCommand command = vboard::defaultToolCommand();
            command.standardOutput = kind;
            command.arguments = {"-o", "4", "2"};
            const vboard::Run run = looped.run(command);
            const std::string report = closed ? incomplete(0, 0) : complete;
            EXPECT_EQ(run.console(), boardLine + "\n第1次测试\n" + report + "\n第2次测试\n" + report);
            EXPECT_EQ(run.beeps(), closed ? 4 : 0);
            EXPECT_EQ(run.exitStatus(), 0) << run.errors;
            EXPECT_TRUE(looped.rs485Switches.transmitterOn && looped.rs485Switches.receiverOn);
            EXPECT_EQ(looped.rs485.line.attributes.c_cflag & ~static_cast<tcflag_t>(CBAUD | HUPCL),
                      CS8 | CREAD | CLOCAL | kept);
            EXPECT_EQ(run.requests("tcsetattr").at(0).option, unsigned{TCSANOW});
        }
    }
}

TEST(Rs485Loopback, ADamagedByteCondemnsItsChunk) {
    for (const unsigned place : {1U, 2U, 500U, 1024U}) {
        for (const int chunk : {1, 8}) {
            VirtualBoard looped = VirtualBoard::healthy();
            looped.rs485.corruptedByte = place;
            looped.rs485.line.receiveTrigger = static_cast<std::size_t>(chunk);
            const vboard::Run run = looped.run({"-o", "4"});
            EXPECT_EQ(run.console(), boardLine + incomplete(1024 - chunk, chunk)) << place;
            EXPECT_EQ(run.beeps(), 2);
        }
    }
    VirtualBoard late = VirtualBoard::healthy();
    late.rs485.line.waitingAtOpen = {0x55};  // all others arrive a place too far, the last one in the first
    EXPECT_EQ(late.run({"-o", "4"}).console(), boardLine + incomplete(0, 1025));
}

// A line that goes on just fast enough for each single wait must not carry either side beyond its 5 s.
TEST(Rs485Loopback, BudgetsEndBothSides) {
    for (const bool writesBack : {true, false}) {
        VirtualBoard slow = VirtualBoard::healthy();
        slow.settings.selectWritesBack = writesBack;
        slow.rs485.line.transmitQueueBytes = 4;
        slow.rs485.line.pauseAfterByte = 2s;
        const vboard::Run run = slow.run({"-o", "4"});
        EXPECT_THAT(run.console(),
                    testing::AllOf(testing::HasSubstr(writerGaveUp), testing::HasSubstr(incomplete(3, 0))));
        const Time taken = run.requests("ZORIO_SET_BUZZER").at(0).at - run.requests("fork").at(0).at;
        EXPECT_NEAR(static_cast<double>(taken.count()), 5e9, 2e6);
        EXPECT_LT(run.elapsed - run.requests("fork").at(0).at, 7s);  // the writer too
        EXPECT_EQ(run.exitStatus(), 0);
    }
}

TEST(Rs485Loopback, AnInterruptEndsTheWriterAndNotTheReader) {
    VirtualBoard looped = VirtualBoard::healthy();
    looped.settings.interrupts = {12500ms};
    const vboard::Run run = looped.run({"-o", "4"});
    EXPECT_EQ(run.signal(), SIGINT);
    EXPECT_EQ(run.console(), boardLine + complete);
    EXPECT_THAT(run.errors, testing::StartsWith("read select(): Interrupted system call\n"));
}

TEST(Rs485Loopback, WhatOnlyFailsEndsAtOnceOrWithItsBudget) {
    const struct {
        std::string request, where;
        int status;
        std::string says, errors;
    } cases[] = {
        {"open", "/dev/ttyS1", 255, "open /dev/ttyS1 failed\n", ""},
        {"tcsetattr", "", 255, "tcsetattr failed", ""},
        {"fork", "", 0, "", "fork: Input/output error\n"},
        {"read", "/dev/ttyS1", 0, incomplete(0, 0), ""},
        {"write", "/dev/ttyS1", 0, writerGaveUp + incomplete(0, 0), ""},
    };
    for (const auto& row : cases) {
        VirtualBoard faulty = VirtualBoard::healthy();
        faulty.settings.faults = {{row.request, row.where, 1, true}};
        faulty.settings.requestCost = 10ms;
        const vboard::Run run = faulty.run({"-o", "4"});
        EXPECT_EQ(run.exitStatus(), row.status);
        EXPECT_EQ(run.console(), boardLine + row.says);
        EXPECT_EQ(run.errors, row.errors);
    }
}
