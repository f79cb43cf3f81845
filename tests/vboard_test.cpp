// The virtual board itself: deterministic, cut off from the host, and clear about what it does not know.

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/tool_runs.h"
#include "vboard/launcher/verdict.h"

using namespace std::chrono_literals;
using testing::HasSubstr;
using vboard::ToolCommand;
using vboard::VirtualBoard;

namespace {

ToolCommand tool(std::vector<std::string> arguments) {
    ToolCommand command = vboard::defaultToolCommand();
    command.arguments = std::move(arguments);
    return command;
}

std::string scenarioError(const std::string& text) {
    VirtualBoard board;
    try {
        vboard::loadScenarioText(board, text, "board.toml");
    } catch (const vboard::ScenarioError& error) {
        return error.what();
    }
    return "no error";
}

}  // namespace

TEST(VirtualBoard, TheSameScenarioGivesTheSameBytesAndTheSameTrace) {
    for (const auto& [name, shows] : vboard::listScenarios()) {
        EXPECT_FALSE(shows.empty()) << name;
        std::string first;
        for (int round = 0; round < 2; ++round) {
            VirtualBoard board(name);
            const auto run = board.run(board.arguments);
            EXPECT_FALSE(run.anyRefused()) << name << "\n" << toText(run.trace);
            const std::string all = run.output + run.errors + joined(run.writes) + toText(run.trace);
            EXPECT_EQ(round == 0 ? all : first, all) << name;
            first = all;
        }
    }
}

TEST(VirtualBoard, StandardOutputAndErrorKeepTheirOrder) {
    VirtualBoard board = VirtualBoard::healthy();
    board.processes.procPresent = false;
    ToolCommand command = tool({"-o", "1"});
    command.mergeErrors = true;
    EXPECT_THAT(board.run(command).console(),
                HasSubstr("设备网卡个数(2)\ncan not open directory /proc\n====="));
}

// From here on the kernel kills whoever asks it for what the tool asks of a board, and whoever that starts.
static void forbidOnTheHost() {
    std::vector<sock_filter> filter = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const unsigned call : {SYS_mount, SYS_umount2, SYS_setuid, SYS_mkdir, SYS_chdir, SYS_socket}) {
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};
    ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0);
}

static void runEverythingWithoutTheHost() {
    forbidOnTheHost();
    for (int test = 0; test <= 11; ++test) {
        VirtualBoard board = VirtualBoard::healthy();
        board.processes.processes = {{std::to_string(getpid()), {"./vidapp"}}};  // and yet we live
        const auto run = test == 0 ? board.run({"netR8test"}) : board.run({"-o", std::to_string(test)});
        EXPECT_EQ(run.exitStatus(), 0) << "test " << test << ", signal " << run.signal();
        EXPECT_EQ(board.processes.killed.size(), test == 0 ? 0U : 1U);
    }
    std::exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
}

TEST(VirtualBoard, NothingReachesTheHost) {
    EXPECT_EXIT(runEverythingWithoutTheHost(), testing::ExitedWithCode(EXIT_SUCCESS), "");
    EXPECT_EXIT(
        {
            forbidOnTheHost();
            (void)!chdir("/");
        },
        testing::KilledBySignal(SIGSYS), "");
}

TEST(VirtualBoard, WhatItDoesNotKnowIsRefusedAndNamed) {
    VirtualBoard board = VirtualBoard::healthy();
    const auto run = runModule(board, {"escape"});
    EXPECT_EQ(run.console(),
              "open /etc/passwd: No such file or directory\nioctl 0x1234: Inappropriate ioctl for device\n"
              "system: 32512\nmount: No such file or directory\n");
    EXPECT_THAT(toText(run.trace), HasSubstr("ioctl 0x1234 /dev/zorio = -1 ENOTTY REFUSED"));
    EXPECT_THAT(run.refusals(), testing::SizeIs(2));
    EXPECT_EQ(vboard::statusOf(run), 3);  // although the tool ended well
    EXPECT_THAT(toText(run.trace), HasSubstr("system touch /tmp/escaped = 32512 REFUSED"));
    EXPECT_FALSE(std::filesystem::exists("/tmp/escaped"));
}

TEST(VirtualBoard, ARunWithARefusalHasNoVerdict) {
    VirtualBoard board = VirtualBoard::healthy();
    auto run = board.run(fullRun);
    EXPECT_EQ(vboard::verdictOf(run).status, 0);
    run.trace.front().refused = true;
    EXPECT_EQ(vboard::verdictOf(run).status, 3);
    EXPECT_EQ(vboard::statusOf(run), 3);
}

// Without the preload library a tool would find the host's hardware: better no run at all.
TEST(VirtualBoard, AToolThatWouldRunOnTheHostIsNotStarted) {
    ToolCommand withoutLibrary = tool({"-h"});
    withoutLibrary.preload = "/nonexistent.so";
    ToolCommand blankInPath = tool({"-h"});
    blankInPath.preload = "/tmp/a b.so";
    ToolCommand script = tool({"-h"});
    script.program = "/usr/bin/ldd";
    for (const ToolCommand& command : {withoutLibrary, blankInPath, script}) {
        VirtualBoard board = VirtualBoard::healthy();
        EXPECT_THROW((void)board.run(command), std::runtime_error) << command.program;
    }
}

TEST(VirtualBoard, ARunThatWouldNeverEndIsStoppedAndSaysWhy) {
    VirtualBoard limited = VirtualBoard::healthy();
    limited.settings.timeLimit = 5s;
    EXPECT_EQ(limited.run(fullRun).stopReason, "the virtual time limit of 5 s is reached");

    VirtualBoard cut = VirtualBoard::healthy();
    cut.settings.powerCutAfter = 3;
    const auto run = cut.run(fullRun);
    EXPECT_EQ(run.stopReason, "power cut");
    EXPECT_EQ(run.requestCount, 3U);
    EXPECT_EQ(run.signal(), SIGKILL);
}

TEST(Scenario, AWrongOneNamesFileLineAndKey) {
    const struct {
        std::string text;
        std::string error;
    } cases[] = {
        {"[cpld]\nusbCount = 2\nusbPorts = 3", "board.toml:3: 'cpld.usbPorts' is not known here"},
        {"[cpld]\nusbCount = 16", "board.toml:2: 'cpld.usbCount' is at most 15"},
        {"[cpld]\nusbCount = -1", "board.toml:2: 'cpld.usbCount' is a number from 0 to 65535"},
        {"[control]\npresent = 1", "board.toml:2: 'control.present' is true or false"},
        {"[control]\nmacAddress1 = \"00 1A\"", "board.toml:2: 'control.macAddress1' has six bytes"},
        {"[control.answers]\nZORIO_GET_STEP_GATE = \"00\"",
         "board.toml:2: 'control.answers.ZORIO_GET_STEP_GATE' has 4 bytes"},
        {"[control.answers]\nZORIO_SET_MODE = \"\"",
         "board.toml:2: 'control.answers.ZORIO_SET_MODE' is not known here"},
        {"[control]\nmacAddress2 = \"00 1A 2B 3C 4D 5\"",
         "board.toml:2: 'control.macAddress2' is a row of bytes like \"B5 01 07\""},
        {"\n[supervisor]\nreader = \"sleeps\"",
         "board.toml:3: 'supervisor.reader' is one of reads, absent, never"},
        {"[[fault]]\nrequest = \"open\"\nerror = \"EWHAT\"",
         "board.toml:3: 'fault.error' is the name of an errno, like \"EIO\""},
        {"[[fault]]\nnth = 1", "board.toml:1: 'fault.request' is missing"},
        {"control = 3", "board.toml:1: 'control' is a table or a list of tables"},
        {"base = \"no-such-board\"", "can not open this scenario"},
        {"base = \"./none.toml\"", "none.toml: can not open this scenario"},
        {"[firmwareImage]\nrevision = 9", "board.toml:2: 'firmwareImage.revision' makes a new image"},
        {"[run]\ntimeLimit = \"long\"", "board.toml:2: 'run.timeLimit' is a number of seconds"},
        {"[alarm.wiring]\noutput1 = [17]", "board.toml:2: 'alarm.wiring.output1' names inputs from 1 to 16"},
        {"arguments = [1]", "board.toml:1: 'arguments' is a list of texts"},
        {"[cpld\n", "board.toml:1: "},
    };
    for (const auto& [text, error] : cases) {
        EXPECT_THAT(scenarioError(text), HasSubstr(error));
    }
}
