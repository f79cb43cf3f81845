// How a run of the station ends: outcomes, tools that hang or hold on, wrong use, what the terminal shows.

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pty.h>
#include <sys/syscall.h>

#include <regex>

#include "tests/station_program.h"

using namespace station;
using namespace station_test;
using testing::HasSubstr;

namespace {

TEST_F(StationRun, keepsTheWholeRecordOfAPassedUnit) {
    const std::string console = gbk("no kill vidapp\n网卡1 mac地址:00:11:22:33:44:55\n");
    ASSERT_EQ(station(runWords(healthy, "exit:0", console)), 0) << output();
    const Json kept = record(1);
    EXPECT_EQ(kept["outcome"], "passed");
    EXPECT_EQ(kept["unit"], "7");
    EXPECT_EQ(kept["tool"]["sha256"], sha256OfFile(fakeTool));
    EXPECT_EQ(kept["tool"]["exitStatus"], 0);
    EXPECT_EQ(kept["board"]["macs"][0], "00:11:22:33:44:55");
    EXPECT_EQ(kept["stream"]["bytes"], healthy.size());
    EXPECT_EQ(readFile(attempt(1) / "stream.raw"), healthy);
    EXPECT_THAT(readFile(attempt(1) / "lines.txt"), HasSubstr(" pipe    第5步:\n"));
    EXPECT_THAT(readFile(attempt(1) / "junit.xml"), HasSubstr("failures=\"0\" errors=\"0\" skipped=\"0\""));
    EXPECT_THAT(output(), HasSubstr("7 #1"));
    for (const auto& file : fs::directory_iterator(attempt(1))) {  // for who may look at results only
        EXPECT_NE(file.status().permissions() & fs::perms::others_read, fs::perms::none) << file;
    }
    EXPECT_NE(fs::status(attempt(1)).permissions() & fs::perms::others_exec, fs::perms::none);
}

TEST_F(StationRun, aLostRecordIsSeenWhereverItsLineStands) {
    const std::string lost = "write error file = r8 ,line = 2 \n";
    for (const std::string& before : {std::string("\x81"), std::string(4090, 'x'), std::string(9000, 'x')}) {
        ASSERT_EQ(station(runWords(healthy, "exit:0", before + lost)), 3) << before.size();
    }
}

// Also with the ignored signal and the closed descriptors that a daemon may leave its children.
TEST_F(StationRun, exitStatusTellsTheOutcome) {
    const std::string failing = stream(changedTexts({"485口", "报警口", "485口       : 失败  \n"}));
    const struct {
        std::string records, end;
        int status;
        const char* outcome;
    } cases[] = {
        {healthy, "exit:0", 0, "passed"},
        {failing, "exit:0", 1, "failed"},
        {healthy, "exit:1", 3, "incomplete"},
        {healthy, "signal:9", 3, "incomplete"},
        {healthy.substr(0, healthy.size() - 1), "exit:0", 3, "incomplete"},
        {"", "exit:0", 3, "incomplete"},
    };
    int number = 0;
    for (const auto& [records, end, status, outcome] : cases) {
        std::vector<std::string> words = runWords(records, end);
        words.insert(words.begin(),
                     {"/bin/bash", "-c", "trap '' CHLD; exec \"$0\" \"$@\" <&- >&-", stationProgram});
        EXPECT_EQ(statusOf(start(words)), status) << number;
        EXPECT_EQ(record(++number)["outcome"], outcome);
    }
    EXPECT_EQ(item(record(2), "rs485")["outcome"], "failed");
    EXPECT_EQ(record(5)["stream"]["torn"], true);
    EXPECT_EQ(record(5)["reasons"][0], "the record stream is torn");
    EXPECT_THAT(readFile(attempt(2) / "junit.xml"),
                HasSubstr("/ RS485 trials failed: not seen, expected 0\" />"));
    EXPECT_EQ(record(4)["tool"]["signal"], 9);
}

TEST_F(StationRun, endsAToolThatHangs) {
    std::vector<std::string> words = runWords(healthy, "hang");
    words.insert(words.begin() + 1, {"--timeout", "0.05"});
    EXPECT_EQ(station(words), 3);
    EXPECT_EQ(record(1)["tool"]["signal"], SIGTERM);
    EXPECT_EQ(record(1)["reasons"][0], "the tool did not end in time");
}

// In the end by itself, and at once when it is told again.
TEST_F(StationRun, killsAToolThatIgnoresTheRequestToEnd) {
    for (const int times : {1, 2}) {
        const pid_t child = startStation(runWords(healthy, "deaf"));
        waitForLine(times, "R8TESTEND");
        for (int told = 0; told < times; ++told) {
            kill(child, SIGTERM);
            waitForLine(times, "asked");
        }
        EXPECT_EQ(statusOf(child), 3);
        EXPECT_EQ(record(times)["tool"]["signal"], SIGKILL);
    }
}

TEST_F(StationRun, keepsTheLastWordsOnStandardError) {
    EXPECT_EQ(station(runWords(healthy, "words")), 0) << output();
    EXPECT_THAT(readFile(attempt(1) / "lines.txt"), HasSubstr(" console last words\n"));
}

// Every call that came after Linux 4.4 is one that this kernel does not have.
TEST_F(StationRun, worksOnTheOldestKernel) {
    std::vector<std::string> words = runWords(healthy, "exit:0");
    words.insert(words.begin(), stationProgram);
    const pid_t child = fork();
    if (child == 0) {
        sock_filter newer[] = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JGT | BPF_K, SYS_mlock2, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        };
        const sock_fprog program = {std::size(newer), newer};
        (void)prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
        _exit(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0
                  ? execv(stationProgram.c_str(), pointersTo(words).data())
                  : 99);
    }
    EXPECT_EQ(statusOf(child), 0);
    EXPECT_EQ(record(1)["outcome"], "passed");
}

TEST_F(StationRun, endsWithTheToolWhateverItLeavesBehind) {
    EXPECT_EQ(station(runWords(healthy, "talker")), 0);
    EXPECT_EQ(record(1)["outcome"], "passed");
}

TEST_F(StationRun, stoppedStationEndsTheToolAndWritesTheRecord) {
    const pid_t child = startStation(runWords(healthy, "hang"));
    waitForLine(1, "R8TESTEND");
    kill(child, SIGTERM);
    EXPECT_EQ(statusOf(child), 3);
    EXPECT_EQ(record(1)["reasons"][0], "the station was stopped");
    EXPECT_EQ(item(record(1), "cpld")["outcome"], "passed");
}

TEST_F(StationRun, refusesWrongUseBeforeAnythingIsKept) {
    const std::string fifo = bench / "fifo";
    const std::string other = file("other", "precious");
    const std::vector<std::string> cases[] = {
        {"run", "--", "true"},
        {"run", "--unit", " ", "--", "true"},
        {"run", "--unit", "--timeout=60", "--", "true"},
        {"read", "--unit", " -x", "/dev/null"},
        {"run", "--unit", "7", "--no-unit", "--", "true"},
        {"run", "--unit", std::string(81, 'x'), "--", "true"},
        {"run", "--unit", "7\033[2J", "--", "true"},
        {"run", "--unit", "\xFF", "--", "true"},
        {"run", "--unit", "7"},
        {"run", "--unit", "7", "--", "no-such-program"},
        {"run", "--unit", "7", "--clock", "maybe", "--", "true"},
        {"run", "--unit", "7", "--fifo", other, "--", "true"},
        {"run", "--unit", "7", "--fifo", bench / "no-such-folder/fifo", "--", "true"},
        {"read", "--unit", "7", bench / "no-such-file"},
        {"read", "--unit", "7", bench},
        {"report", bench / "no-such-folder"},
        {},
    };
    for (std::vector<std::string> words : cases) {
        if (words.size() > 1 && words[0] != "report") {
            words.insert(words.begin() + 1, {"--results", bench / "results"});
        }
        EXPECT_EQ(station(words), 2) << testing::PrintToString(words);
    }
    EXPECT_FALSE(fs::exists(bench / "results"));
    EXPECT_EQ(readFile(other), "precious");
}

// Colours and a moving cursor only where the terminal can and its owner wants them.
TEST_F(StationRun, terminalShowsTheRunAndAsksAboutTheClock) {
    const struct {
        const char* answer;
        int status;
        const char* verdict;
        const char* terminalKind;
        const char* noColour;
    } cases[] = {{"y\n", 0, "\033[1;32m✔ PASSED", "xterm", ""},
                 {"n\n", 1, "\033[1;31m✘ FAILED", "xterm", ""},
                 {"y\n", 0, "✔ PASSED", "dumb", ""},
                 {"y\n", 0, "✔ PASSED", "xterm", "1"}};
    for (const auto& [answer, status, verdict, terminalKind, noColour] : cases) {
        std::vector<std::string> words = runWords(healthy, "exit:0");
        *std::find(words.begin(), words.end(), "auto") = "ask";
        words.insert(words.begin() + 1, {"--language", "en"});
        int terminal = -1;
        const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
        if (child == 0) {
            words.insert(words.begin(), stationProgram);
            (void)setenv("TERM", terminalKind, 1);
            (void)setenv("NO_COLOR", noColour, 1);
            _exit(execv(stationProgram.c_str(), pointersTo(words).data()));
        }
        const host::Descriptor closer(terminal);
        std::string shown = readUntil(terminal, "agree? [y/n] ");
        EXPECT_THAT(shown, HasSubstr("2009-04-03 08:00:16   2009-04-03 08:00:16"));
        EXPECT_EQ(write(terminal, answer, strlen(answer)), static_cast<ssize_t>(strlen(answer)));
        shown += readUntil(terminal, "/record.json");
        EXPECT_THAT(shown, HasSubstr(verdict));
        if (*verdict == '\033') {
            EXPECT_THAT(shown, HasSubstr("\033[1;36m▶ running  step "));
            EXPECT_TRUE(
                std::regex_search(shown, std::regex("step ([0-9]+) of \\1  R8测试结果 \\(Summary\\)")));
        } else {
            EXPECT_THAT(shown, Not(HasSubstr("\033")));
        }
        EXPECT_EQ(statusOf(child), status);
    }
    EXPECT_EQ(record(1)["outcome"], "passed");
    EXPECT_EQ(item(record(2), "clock")["reason"], "clock and system time differ");
}

}  // namespace
