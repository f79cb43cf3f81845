// The virtual board itself: deterministic, cut off from the host, and clear about what it does not know.

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/tool_runs.h"

using namespace std::chrono_literals;
using testing::HasSubstr;
using vboard::OutputKind;
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

TEST(VirtualBoard, OutputIsTheSameWhateverItLeadsTo) {
    std::string asPipe;
    for (const OutputKind kind : {OutputKind::pipe, OutputKind::file, OutputKind::terminal}) {
        VirtualBoard board = VirtualBoard::healthy();
        ToolCommand command = tool({});
        command.standardOutput = kind;
        const std::string output = board.run(command).output;
        EXPECT_FALSE(output.empty());
        EXPECT_EQ(kind == OutputKind::pipe ? output : asPipe, output);
        asPipe = output;
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

// The main application has our own process id: whatever the tool does to the board must not be seen here.
TEST(VirtualBoard, NothingReachesTheHost) {
    namespace fs = std::filesystem;
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"-o", "7"}, {"-o", "8"}, {"-o", "10"}, {"netR8test"}}) {
        VirtualBoard board = VirtualBoard::healthy();
        board.processes.processes = {{std::to_string(getpid()), {"./vidapp"}}};
        const auto run = board.run(arguments);
        EXPECT_EQ(run.exitStatus(), 0);
        EXPECT_EQ(board.processes.killed.size(), arguments.front() == "-o" ? 1U : 0U);  // and yet we live
        for (const char* path : {"/mnt/msa1", "/dev/zorio", "/var/r8.fifo", "/dav0"}) {
            EXPECT_FALSE(fs::exists(path)) << path;
        }
    }
}

TEST(VirtualBoard, WhatItDoesNotKnowIsRefusedAndNamed) {
    VirtualBoard board = VirtualBoard::healthy();
    ToolCommand command = vboard::defaultToolCommand();
    command.program = MODULE_RUNNER;
    command.arguments = {"escape"};
    const auto run = board.run(command);
    EXPECT_EQ(run.console(),
              "open /etc/passwd: No such file or directory\nioctl 0x1234: Inappropriate ioctl for device\n"
              "system: 32512\nmount: No such file or directory\n");
    EXPECT_TRUE(run.anyRefused());
    EXPECT_THAT(toText(run.trace), HasSubstr("ioctl 0x1234 /dev/zorio 0x0 = -1 ENOTTY REFUSED"));
    EXPECT_THAT(toText(run.trace), HasSubstr("system touch /tmp/escaped = 32512 REFUSED"));
    EXPECT_FALSE(std::filesystem::exists("/tmp/escaped"));
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
