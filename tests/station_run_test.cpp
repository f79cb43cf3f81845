// The program as a station engineer uses it: real processes, a real pipe, a tool that does as told.

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pty.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include "tests/station_bench.h"

using namespace station;
using namespace station_test;
using testing::HasSubstr;

namespace {

class StationRun : public StationBench {
  protected:
    StationRun() { EXPECT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0); }

    pid_t startStation(std::vector<std::string> words, const std::string& input = "/dev/null") const {
        words.insert(words.begin(), STATION);
        return start(words, input);
    }
    int station(const std::vector<std::string>& words, const std::string& input = "/dev/null") const {
        return statusOf(startStation(words, input));
    }

    // A tool whose station was killed becomes a child of ours.
    static void waitForTheOrphan() {
        while (waitpid(-1, nullptr, 0) > 0) {
        }
    }

    // The words for a run of unit 7 with the fake tool.
    std::vector<std::string> runWords(const std::string& records, const std::string& end,
                                      const std::string& console = "", const std::string& fifo = "fifo") {
        std::vector<std::string> words = {"run", "--unit", "7", "--clock", "auto"};
        words.insert(words.end(), {"--results", bench / "results", "--fifo", bench / fifo, "--"});
        words.insert(words.end(), {FAKE_TOOL, "netR8test", bench / fifo, file(fifo + ".records", records)});
        words.insert(words.end(), {file(fifo + ".console", console), end});
        return words;
    }

    // Returns as soon as that line is kept.
    void waitForLine(int number, const std::string& text) const {
        for (int i = 0; i < 20000; ++i) {
            const fs::path lines = attempt(number) / "lines.txt";
            if (fs::exists(lines) && readFile(lines).find(text) != std::string::npos) {
                return;
            }
            usleep(1000);
        }
        FAIL() << text << " does not come";
    }

    // Returns as soon as the attempt is there.
    void waitForAttempt(int number) const { waitForLine(number, ""); }

    // What a terminal shows up to that text.
    static std::string readUntil(int terminal, const std::string& text) {
        std::string shown;
        char byte;
        while (shown.find(text) == std::string::npos && read(terminal, &byte, 1) == 1) {
            shown += byte;
        }
        return shown;
    }

    const std::string healthy = stream(healthyTexts());
};

TEST_F(StationRun, keepsTheWholeRecordOfAPassedUnit) {
    const std::string console = gbk("no kill vidapp\n网卡1 mac地址:00:11:22:33:44:55\n");
    ASSERT_EQ(station(runWords(healthy, "exit:0", console)), 0) << output();
    const Json kept = record(1);
    EXPECT_EQ(kept["outcome"], "passed");
    EXPECT_EQ(kept["unit"], "7");
    EXPECT_EQ(kept["tool"]["sha256"], sha256OfFile(FAKE_TOOL));
    EXPECT_EQ(kept["tool"]["exitStatus"], 0);
    EXPECT_EQ(kept["board"]["macs"][0], "00:11:22:33:44:55");
    EXPECT_EQ(kept["stream"]["bytes"], healthy.size());
    EXPECT_EQ(readFile(attempt(1) / "stream.raw"), healthy);
    EXPECT_THAT(readFile(attempt(1) / "lines.txt"), HasSubstr(" pipe    第5步:\n"));
    EXPECT_THAT(readFile(attempt(1) / "junit.xml"),
                HasSubstr("tests=\"8\" failures=\"0\" errors=\"0\" skipped=\"0\""));
    EXPECT_THAT(output(), HasSubstr("7 #1"));
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
        words.insert(words.begin(), {"/bin/bash", "-c", "trap '' CHLD; exec \"$0\" \"$@\" <&- >&-", STATION});
        EXPECT_EQ(statusOf(start(words)), status) << number;
        EXPECT_EQ(record(++number)["outcome"], outcome);
    }
    EXPECT_EQ(record(2)["items"][1]["outcome"], "failed");
    EXPECT_EQ(record(5)["stream"]["torn"], true);
    EXPECT_EQ(record(5)["reasons"][0], "the record stream is torn");
    EXPECT_THAT(readFile(attempt(2) / "junit.xml"), HasSubstr("<failure message=\"失败\" />"));
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
    words.insert(words.begin(), STATION);
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
                  ? execv(STATION, pointersTo(words).data())
                  : 99);
    }
    EXPECT_EQ(statusOf(child), 0);
    EXPECT_EQ(record(1)["outcome"], "passed");
}

TEST_F(StationRun, endsWithTheToolWhateverItLeavesBehind) {
    EXPECT_EQ(station(runWords(healthy, "talker")), 0);
    EXPECT_EQ(record(1)["outcome"], "passed");
}

class StationDisk : public StationRun {
  protected:
    // The station's status on a disk that is full for files whose path holds the text.
    int stationOnDisk(const std::string& fullFor, const std::vector<std::string>& words) const {
        std::vector<std::string> all = {"/usr/bin/env", "LD_PRELOAD=" DISK_RECORDER,
                                        "DISK_LOG=" + (bench / "log").string(), STATION};
        if (!fullFor.empty()) {
            all.insert(all.begin() + 1, "DISK_FULL_FOR=" + fullFor);
        }
        all.insert(all.end(), words.begin(), words.end());
        return statusOf(start(all));
    }
};

// A record that says final stands for lines and stream that outlast a power cut.
TEST_F(StationDisk, filesAreSyncedBeforeTheRecordTakesItsPlace) {
    ASSERT_EQ(stationOnDisk("", runWords(healthy, "exit:0")), 0) << output();
    std::string log = readFile(bench / "log");
    const std::string unit = (bench / "results/7").string();
    for (const std::string& what :
         {std::string("/record.json."), "rename " + unit + "/.new-", "sync " + unit + "/.new-",
          "rename " + unit + "/0001\n", "sync " + unit + "\n", "sync " + (bench / "results\n").string(),
          std::string("0001/stream.raw\n"), std::string("0001/lines.txt\n"), std::string("0001/junit.xml."),
          std::string("0001/record.json."), "rename " + unit + "/0001/junit.xml\n",
          "rename " + unit + "/0001/record.json\n", "sync " + unit + "/0001\n"}) {
        const std::size_t found = log.find(what);
        ASSERT_NE(found, std::string::npos) << what << " is not behind its predecessors in\n"
                                            << readFile(bench / "log");
        log.erase(0, found + what.size());
    }
}

TEST_F(StationDisk, fullDiskGivesNoPassAndNoContradiction) {
    const struct {
        const char* fullFor;
        const char* reason;
        const char* kept;  // the record's first reason
    } cases[] = {
        {"/lines.txt", "stream or lines could not be kept: No space", "stream or lines"},
        {"/stream.raw", "stream or lines could not be kept: No space", "stream or lines"},
        {"/0003/record.json", "the record could not be kept: ", "the station did not come to the end"},
        {"/0004/junit.xml", "the record could not be kept: ", "the station did not come to the end"},
    };
    int number = 0;
    for (const auto& [fullFor, reason, kept] : cases) {
        EXPECT_EQ(stationOnDisk(fullFor, runWords(healthy, "exit:0")), 3) << fullFor;
        EXPECT_THAT(output(), HasSubstr(reason)) << fullFor;
        EXPECT_THAT(output(), HasSubstr("未完成          7 #" + std::to_string(++number)));
        EXPECT_EQ(record(number)["outcome"], "incomplete") << fullFor;
        EXPECT_THAT(record(number)["reasons"][0].get<std::string>(), HasSubstr(kept));
        EXPECT_EQ(fs::exists(attempt(number) / "junit.xml"), number <= 2) << fullFor;
        const auto files = std::distance(fs::directory_iterator(attempt(number)), fs::directory_iterator());
        EXPECT_EQ(files, number <= 2 ? 4 : 3) << fullFor;
    }
    EXPECT_EQ(stationOnDisk("/.new-", runWords(healthy, "exit:0")), 2);
    EXPECT_EQ(std::distance(fs::directory_iterator(bench / "results/7"), fs::directory_iterator()), number);
}

TEST_F(StationRun, stoppedStationEndsTheToolAndWritesTheRecord) {
    const pid_t child = startStation(runWords(healthy, "hang"));
    waitForLine(1, "R8TESTEND");
    kill(child, SIGTERM);
    EXPECT_EQ(statusOf(child), 3);
    EXPECT_EQ(record(1)["reasons"][0], "the station was stopped");
    EXPECT_EQ(record(1)["items"].size(), 7u);
}

TEST_F(StationRun, killedStationLeavesLinesAndAnIncompleteRecord) {
    const std::pair<std::size_t, const char*> moments[] = {
        {0, ""}, {healthy.size() / 2, "/dev/sda"}, {healthy.size(), "R8TESTEND"}};
    for (const auto& [bytes, lastLine] : moments) {
        fs::remove_all(bench / "results");
        const pid_t child = startStation(runWords(healthy.substr(0, bytes), "hang"));
        waitForLine(1, lastLine);
        kill(child, SIGKILL);
        EXPECT_EQ(statusOf(child), 128 + SIGKILL);
        EXPECT_EQ(record(1)["outcome"], "incomplete");
        EXPECT_EQ(readFile(attempt(1) / "stream.raw"), healthy.substr(0, bytes));
        ASSERT_EQ(station({"report", bench / "results"}), 0) << output();
        EXPECT_THAT(readFile(bench / "results/report.html"), HasSubstr(lastLine));
        waitForTheOrphan();
        EXPECT_EQ(station(runWords(healthy, "exit:0")), 0) << output();
        EXPECT_EQ(record(2)["outcome"], "passed");
    }
}

TEST_F(StationRun, aToolWhoseStationWasKilledKeepsThePipeBeforeItOpensIt) {
    const std::string hold = bench / "hold";
    ASSERT_EQ(mkfifo(hold.c_str(), 0600), 0);
    const pid_t child = startStation(
        {"run", "--no-unit", "--results", bench / "results", "--fifo", bench / "fifo", "--", "cat", hold});
    const int tool = open(hold.c_str(), O_WRONLY);  // comes back when the tool has started
    kill(child, SIGKILL);
    EXPECT_EQ(statusOf(child), 128 + SIGKILL);
    EXPECT_EQ(station(runWords(healthy, "exit:0")), 2);
    EXPECT_THAT(output(), HasSubstr("a tool from before still writes to this pipe"));
    close(tool);
    waitForTheOrphan();
    EXPECT_EQ(station(runWords(healthy, "exit:0")), 0) << output();
}

TEST_F(StationRun, stationsOnOneFolderEachGetTheirOwnAttempt) {
    std::vector<pid_t> children;
    for (int i = 0; i < 8; ++i) {
        children.push_back(startStation(runWords(healthy, "exit:0", "", "fifo" + std::to_string(i))));
    }
    for (const pid_t child : children) {
        EXPECT_EQ(statusOf(child), 0);
    }
    for (int number = 1; number <= 8; ++number) {
        EXPECT_EQ(record(number)["reasons"], Json::array());
        EXPECT_EQ(record(number)["attempt"], number);
    }
}

// The other one would take a visit for a reader.
TEST_F(StationRun, aStationWithoutTheLockDoesNotComeNearThePipe) {
    ASSERT_EQ(mkfifo((bench / "fifo").c_str(), 0600), 0);
    const host::Descriptor lock(open((bench / "fifo.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_EQ(flock(lock.get(), LOCK_EX), 0);
    const host::Descriptor reader(open((bench / "fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    const host::Descriptor watch(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    ASSERT_GE(inotify_add_watch(watch.get(), (bench / "fifo").c_str(), IN_OPEN), 0);
    EXPECT_EQ(station(runWords(healthy, "exit:0")), 2);
    EXPECT_THAT(output(), HasSubstr("another station"));
    char event[4096];
    EXPECT_EQ(read(watch.get(), event, sizeof event), -1) << "the pipe was opened";
}

TEST_F(StationRun, ofTwoStationsOnOnePipeExactlyOneRuns) {
    for (int pair = 0; pair < 20; ++pair) {
        const std::vector<std::string> words = runWords("", "hang");
        const pid_t stations[] = {startStation(words), startStation(words)};
        int status = 0;
        const pid_t refused = waitpid(-1, &status, 0);
        EXPECT_EQ(WEXITSTATUS(status), 2) << pair;
        const pid_t winner = stations[refused == stations[0] ? 1 : 0];
        ASSERT_EQ(waitpid(winner, &status, WNOHANG), 0) << "both were refused, pair " << pair;
        waitForAttempt(pair + 1);
        kill(winner, SIGTERM);
        EXPECT_EQ(statusOf(winner), 3) << pair;
    }
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

TEST_F(StationRun, leavesAPipeInUseAlone) {
    ASSERT_EQ(mkfifo((bench / "fifo").c_str(), 0600), 0);
    host::Descriptor both(open((bench / "fifo").c_str(), O_RDWR | O_NONBLOCK));
    EXPECT_EQ(station(runWords(healthy, "exit:0")), 2);
    EXPECT_THAT(output(), HasSubstr("reads this pipe already"));
    host::Descriptor writer(open((bench / "fifo").c_str(), O_WRONLY | O_NONBLOCK));
    both.close();
    EXPECT_EQ(station(runWords(healthy, "exit:0")), 2);
    EXPECT_THAT(output(), HasSubstr("still writes to this pipe"));
    writer.close();
    EXPECT_EQ(station(runWords(healthy, "exit:0")), 0);
}

TEST_F(StationRun, readsAStoredOrPipedStream) {
    const std::string results = bench / "results";
    const std::string stored = file("stored", healthy);
    fs::create_directories(bench / "results/last-run.json");  // only a guess for the view
    EXPECT_EQ(station({"read", "--unit", "7", "--clock", "auto", "--results", results, stored}), 0);
    EXPECT_EQ(station({"read", "--unit", " 7\r\n", "--clock", "leave", "--results", results, "-"}, stored),
              3);
    // Nobody can be asked: as auto.
    EXPECT_EQ(station({"read", "--unit", "7", "--results", results, "--", stored}), 0);
    EXPECT_EQ(station({"read", "--no-unit", "--results", results}, file("cut", healthy.substr(0, 99))), 3);
    EXPECT_EQ(record(1)["outcome"], "passed");
    EXPECT_EQ(record(2)["outcome"], "needs-person");
    EXPECT_EQ(record(3)["outcome"], "passed");
    EXPECT_TRUE(fs::exists(bench / "results/@bench/0001/stream.raw"));
}

// Colours and a moving cursor only where the terminal can and its owner wants them.
TEST_F(StationRun, terminalShowsTheRunAndAsksAboutTheClock) {
    const struct {
        const char* answer;
        int status;
        const char* verdict;
        const char* terminalKind;
        const char* noColour;
    } cases[] = {{"what?\ny\n", 0, "\033[1;32m✔ PASSED", "xterm", ""},
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
            words.insert(words.begin(), STATION);
            (void)setenv("TERM", terminalKind, 1);
            (void)setenv("NO_COLOR", noColour, 1);
            _exit(execv(STATION, pointersTo(words).data()));
        }
        const host::Descriptor closer(terminal);
        std::string shown = readUntil(terminal, "agree? [y/n] ");
        EXPECT_THAT(shown, HasSubstr("2009-04-03 08:00:16   2009-04-03 08:00:16"));
        EXPECT_EQ(write(terminal, answer, strlen(answer)), static_cast<ssize_t>(strlen(answer)));
        shown += readUntil(terminal, "/record.json");
        EXPECT_THAT(shown, HasSubstr(verdict));
        if (*verdict == '\033') {
            EXPECT_THAT(shown, HasSubstr("\033[1;36m▶ running  step 7 of 7  R8测试结果 (Summary)"));
        } else {
            EXPECT_THAT(shown, Not(HasSubstr("\033")));
        }
        EXPECT_EQ(statusOf(child), status);
    }
    EXPECT_EQ(record(1)["outcome"], "passed");
    EXPECT_EQ(record(2)["items"][6]["reason"], "clock and system time differ");
}

TEST_F(StationRun, reportEscapesAndSurvivesBrokenRecords) {
    const std::vector<std::string> texts =
        changedTexts({"\n型号", "\n固件版本", "\n型号      :</script><script>\"&'"});
    const std::string results = bench / "results";
    const std::string stored = file("stored", stream(texts));
    ASSERT_EQ(station({"read", "--unit", "../<i>", "--clock", "auto", "--results", results, stored}), 0);
    int number = 0;
    for (const std::string& broken : std::vector<std::string>{
             "", "{", "[]", std::string(300000, '['), R"({"version":2,"items":[],"steps":[]})",
             R"({"version":1,"started":"","reasons":[],"items":[1],"steps":[]})",
             R"({"version":1,"started":5,"reasons":[],"items":[],"steps":[]})",
             R"({"version":1,"started":"","reasons":[],"items":[],"steps":[{"name":"x","lines":"x"}]})"}) {
        const fs::path folder = fs::path(results) / "broken" / std::to_string(++number);
        fs::create_directories(folder);
        std::ofstream(folder / "record.json") << broken;
    }
    fs::create_directories(fs::path(results) / "broken" / std::to_string(++number) / "record.json");
    ASSERT_EQ(station({"report", results}), 0) << output();
    const std::string page = readFile(bench / "results/report.html");
    EXPECT_THAT(page, HasSubstr(R"(\u003c/script>\u003cscript>\"&')"));
    EXPECT_THAT(page, HasSubstr(R"("name":"../\u003ci>")"));
    for (; number > 0; --number) {
        EXPECT_THAT(page, HasSubstr("/broken/" + std::to_string(number) + ": no record that"));
    }
    EXPECT_THAT(page, testing::Not(HasSubstr("</script><script>")));
    EXPECT_THAT(output(), HasSubstr("2 units, 1 passed at their first attempt (50.0 %)"));
    EXPECT_TRUE(fs::exists(bench / "results/%2E%2E%2F%3Ci%3E/0001/record.json"));
}

}  // namespace
