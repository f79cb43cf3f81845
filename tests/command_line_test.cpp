// The tool's command line: every form with its messages, its exit status, and whether the board was touched.

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "r8/driver/board_tests.h"
#include "r8/driver/standard_descriptors.h"

#include "tests/tool_runs.h"

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;
using vboard::Run;
using vboard::VirtualBoard;

namespace {

constexpr char loaded[] = "设备网卡个数(2)\n";
const std::string testCount = std::to_string(boardTestCount);
const std::string range = "请选择测试序号(1~" + testCount + ")\n";
const std::string outOfRange = "请输入正确的测试序号.(1~" + testCount + ")";
constexpr char malformed[] = "参数非法\n";
constexpr char threeBeeps[] = "";  // the buzzer test says nothing

// Whether anything but the board description was asked of the control device.
bool prepared(const Run& run) {
    return !run.requests("ZORIO_SET_WDT_TIMEOUT").empty();
}

}  // namespace

TEST(CommandLine, RejectedFormsSayWhyAndLeaveTheBoardAlone) {
    const struct {
        std::vector<std::string> arguments;
        std::string message;
    } cases[] = {
        {{"-x", "1"}, malformed},
        {{"-h", "5"}, malformed},
        {{"--help", "-o", "1"}, malformed},
        {{"netR8test", "1"}, malformed},
        {{"netR8test", "-o", "1"}, malformed},
        {{"-o", "x"}, range},
        {{"-o", "xyz"}, range + range},
        {{"-o", "1x"}, range},
        {{"-o", "1x5"}, range + range},
        {{"-o", "-1"}, range},
        {{"-o", "0"}, outOfRange},
        {{"-o", ""}, outOfRange},
        {{"-O", std::to_string(boardTestCount + 1)}, outOfRange},
        {{"-o", "99", "3"}, outOfRange},
        {{"-o", "993"}, range + outOfRange},
        {{"-o", "00"}, outOfRange},
    };
    for (const auto& [arguments, message] : cases) {
        VirtualBoard board = VirtualBoard::healthy();
        const auto run = board.run(arguments);
        EXPECT_EQ(run.console(), loaded + message) << testing::PrintToString(arguments);
        EXPECT_EQ(run.exitStatus(), 0);
        EXPECT_FALSE(prepared(run));
        EXPECT_TRUE(run.writes.empty());
    }
}

TEST(CommandLine, AcceptedFormsRunTheTestTheGivenNumberOfTimes) {
    const struct {
        std::vector<std::string> arguments;
        std::string says;
        int beeps;
    } cases[] = {
        {{"-o", "2"}, threeBeeps, 3},      {{"-O", "02"}, threeBeeps, 3},
        {{"-o", "2", "1"}, threeBeeps, 3}, {{"-o", "2", "2"}, "\n第1次测试\n\n第2次测试\n", 6},
        {{"-o", "2", "0"}, "", 0},         {{"-o", "2", "many"}, "", 0},
        {{"-o", "029"}, range, 3},         {{"-o", "7", "0"}, "", 0},
        {{"-o", "10", "0"}, "", 0},
    };
    for (const auto& [arguments, says, beeps] : cases) {
        VirtualBoard board = VirtualBoard::healthy();
        const auto run = board.run(arguments);
        EXPECT_EQ(run.console(), loaded + says) << testing::PrintToString(arguments);
        EXPECT_EQ(run.beeps(), beeps) << testing::PrintToString(arguments);
        EXPECT_EQ(run.exitStatus(), 0);
        EXPECT_EQ(board.processes.killed, std::vector<std::string>{"417"});
    }
}

TEST(CommandLine, ABoardWithoutKeysRunsNoPanelTest) {
    VirtualBoard board = VirtualBoard::healthy();
    board.control.setCpld(cpld.panelType, 1);
    const auto run = board.run({"-o", "3", "2"});
    EXPECT_EQ(run.console(), std::string(loaded) + "\n第1次测试\n\n第2次测试\n");
    EXPECT_TRUE(run.requests("open", "/dev/ttyS3").empty());
}

TEST(CommandLine, FullRunOnTheConsoleForEveryOtherForm) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{}, {"foo"}, {"-o"}, {"-o", "1", "2", "3"}, {"-h", "1", "2", "3"}}) {
        VirtualBoard board = VirtualBoard::healthy();
        const auto run = board.run(arguments);
        EXPECT_THAT(run.console(),
                    testing::StartsWith(loaded + std::string("no kill vidapp\n第1步:蜂鸣器测试\n")));
        EXPECT_THAT(run.console(), testing::EndsWith("-\nR8测试结束\n"));
        EXPECT_TRUE(run.writes.empty());
        EXPECT_TRUE(board.processes.killed.empty());
        EXPECT_EQ(run.exitStatus(), 0);
    }
}

TEST(CommandLine, NetworkedFormsReportToThePipe) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"netR8test"}, {"netR8test", "1", "2", "3"}}) {
        VirtualBoard board = VirtualBoard::healthy();
        const auto run = board.run(arguments);
        EXPECT_TRUE(run.sawEndMarker());
        EXPECT_THAT(run.console(), Not(HasSubstr("步:")));
        EXPECT_EQ(run.openAtEnd, std::vector<std::string>{"/dev/zorio"});  // the run's own, kept to the end
    }
}

TEST(StartUp, FailuresOfTheBoardEndTheToolOrAreSaid) {
    const struct {
        const char* what;
        void (*breakBoard)(VirtualBoard&);
        std::vector<std::vector<std::string>> commandLines;
        std::string says;
        int status;
    } cases[] = {
        {"control device missing",
         [](VirtualBoard& board) { board.control.present = false; },
         {{"-o", "2"}, {}},
         "open zorio failed !\n\n打开hwInfo设备出错!\n",
         1},
        {"watchdog refuses",
         [](VirtualBoard& board) {
             board.settings.faults.push_back({"ZORIO_SET_WDT_TIMEOUT", ""});
         },
         {{"-o", "2"}, {}},
         std::string(loaded) + "初始化看门狗失败!\n",
         1},
        {"description unreadable",
         [](VirtualBoard& board) {
             board.settings.faults.push_back({"ZORIO_GET_CPLD_INFO", "", 1, false, ENXIO});
         },
         {{"-o", "2"}},
         "ioctl get cpld error, errno=6.\nCPLD读取失败,No such device or address\n",
         0},
        {"not the super-user",
         [](VirtualBoard& board) { board.setuidError = EPERM; },
         {{"-o", "2"}},
         std::string("切换到超级用户失败，可能会对R8的某些项测试有影响\n") + loaded,
         0},
        {"no pipe",
         [](VirtualBoard& board) { board.supervisor.fifoPresent = false; },
         {{"netR8test"}},
         std::string(loaded) + "打开命名管道出错\n",
         0},
        {"nobody reads the pipe",
         [](VirtualBoard& board) { board.supervisor.reader = vboard::Supervisor::Reader::absent; },
         {{"netR8test"}},
         std::string(loaded) + "打开命名管道出错\n",
         0},
    };
    for (const auto& [what, breakBoard, commandLines, says, status] : cases) {
        for (const std::vector<std::string>& arguments : commandLines) {
            VirtualBoard board = VirtualBoard::healthy();
            breakBoard(board);
            const auto run = board.run(arguments);
            EXPECT_EQ(run.console(), says) << what;
            EXPECT_EQ(run.exitStatus(), status) << what;
        }
    }
}

// In a process of its own, which ends with the bits of the descriptors that are not what they should be.
int wrongAfterClosing(unsigned closed) {
    const pid_t child = fork();
    if (child != 0) {
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return WEXITSTATUS(status);
    }
    const int other = open("/dev/zero", O_RDWR);
    int wrong = 0;
    for (int fd = 0; fd < 3; ++fd) {
        (void)((closed >> fd & 1) != 0 ? close(fd) : dup2(other, fd));
    }
    openStandardDescriptors();
    for (int fd = 0; fd < 3; ++fd) {
        char file[32] = {};
        (void)!readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), file, sizeof file - 1);
        wrong |= file == std::string((closed >> fd & 1) != 0 ? "/dev/null" : "/dev/zero") ? 0 : 1 << fd;
    }
    _exit(wrong);
}

TEST(StartUp, ClosedStandardDescriptorsAreOpenedBeforeAnythingElse) {
    for (unsigned closed = 0; closed < 8; ++closed) {
        EXPECT_EQ(wrongAfterClosing(closed), 0) << closed;
    }
    VirtualBoard board = VirtualBoard::healthy();
    vboard::ToolCommand command = vboard::defaultToolCommand();
    if (!command.emulator.empty()) {
        return;  // an emulator opens files of its own in their place
    }
    command.emulator = {"/bin/sh", "-c", "exec \"$0\" \"$@\" >&- 2>&-"};
    command.arguments = {"-o", "2"};
    const auto run = board.run(command);
    ASSERT_GT(run.trace.size(), 2U);
    EXPECT_EQ(run.trace[0].where + " " + run.trace[1].where, "/dev/null /dev/null");
    EXPECT_EQ(run.beeps(), 3);
}

TEST(StartUp, Test4WaitsTenSecondsOnceBeforeItsRepetitions) {
    for (const char* repetitions : {"0", "3"}) {
        VirtualBoard board = VirtualBoard::healthy();
        const auto sleeps = board.run({"-o", "4", repetitions}).requests("sleep");
        EXPECT_EQ(std::count_if(sleeps.begin(), sleeps.end(),
                                [](const vboard::TraceEntry& entry) {
                                    return entry.task == "main" && entry.arguments == "10s";
                                }),
                  1);
    }
}

TEST(MainApplication, OnlyTheExactFirstArgumentIsKilledAndOnlyOnce) {
    using Processes = std::vector<vboard::BoardProcess>;
    const vboard::BoardProcess init{"1", {"init"}};
    const vboard::BoardProcess application{"417", {"./vidapp", "-d"}};
    const struct {
        const char* what;
        Processes processes;
        std::vector<std::string> killed;
        std::string says;
    } cases[] = {
        {"first of two", {init, application, {"500", {"./vidapp"}}}, {"417"}, ""},
        {"other path", {{"2", {"/opt/app/vidapp"}}, {"3", {"vidapp"}}}, {}, ""},
        {"longer name", {{"2", {"./vidapp2"}}, {"3", {"./vidapplication"}}}, {}, ""},
        {"no arguments at all", {{"2", {}}, application}, {"417"}, ""},
        {"other entries are not opened", {{"self", {}, true}, {"12a", {}, true}, application}, {"417"}, ""},
        {"a process vanished", {init, {"77", {}, true}, application}, {}, "can not open /proc/77/cmdline \n"},
    };
    for (const auto& [what, processes, killed, says] : cases) {
        VirtualBoard board = VirtualBoard::healthy();
        board.processes.processes = processes;
        const auto run = board.run({"-o", "2", "0"});
        EXPECT_EQ(board.processes.killed, killed) << what;
        EXPECT_EQ(run.console(), loaded + says) << what;
        EXPECT_TRUE(run.openAtEnd.empty()) << what;
    }
    VirtualBoard board = VirtualBoard::healthy();
    board.processes.procPresent = false;
    EXPECT_EQ(board.run({"-o", "2", "0"}).errors, "can not open directory /proc\n");
}
