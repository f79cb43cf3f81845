// What the station makes of a board's words: an ssh that plays what a script says, and the scanner of those
// words.

#include <fstream>

#include "station/keep/run_history.h"
#include "station/link/marker_scanner.h"
#include "tests/station_bench.h"

using namespace station;
using namespace station_test;
using testing::HasSubstr;

namespace {

const std::string sum(64, 'a');
const std::string begin = "T kernel 4.4\nT sha256 " + sum + "\nT started 9\n";

class StationBoard : public StationBench {
  protected:
    // The station's exit status when the board says these words on standard error, T for "r8-station TOKEN",
    // sends the records of a healthy board, and ssh ends with that status.
    int stationWith(const std::string& words, int status, const std::string& log = "",
                    bool sendsRecords = true) {
        (void)file("words", words);
        (void)file("log", log);
        (void)file("records", sendsRecords ? stream(healthyTexts()) : "");
        const std::string script =
            "#!/bin/sh\nlog=$3\nfor command; do :; done\n"
            "token=$(printf %s \"$command\" | grep -o 'r8-station [0-9a-f]\\{32\\} ' | tail -1)\n"
            "cd " +
            bench.string() +
            "\ncase $command in *boot_id*) exec sh boot;; esac\n"
            "cat log >>$log\n[ ! -e called ] || [ ! -s later ] || cp later words\n: >called\n[ ! -s words ] "
            "|| sed \"s/^T /$token/\" words >&2\n"
            "cat records\nexit " +
            std::to_string(status) + "\n";
        fs::permissions(file("ssh", script), fs::perms::owner_all);
        std::vector<std::string> command = {"/usr/bin/env", "PATH=" + bench.string() + ":/usr/bin:/bin",
                                            stationProgram, "run",
                                            "--board",      "b",
                                            "--unit",       "7",
                                            "--clock",      "auto",
                                            "--results",    bench / "results"};
        command.insert(command.end(), more.begin(), more.end());
        return statusOf(start(command));
    }
    std::vector<std::string> more;  // words for the station

    Json lastReasons() const {
        int number = 1;
        while (fs::exists(attempt(number + 1))) {
            ++number;
        }
        return record(number)["reasons"];
    }
};

// The watchdog's test: the board's kernel tells which start it is in. The link may go away, but not for good.
TEST_F(StationBoard, seesWhetherTheWatchdogRestartsIt) {
    const std::string before = "11111111-1111-1111-1111-111111111111";
    const std::string after = "22222222-1111-1111-1111-111111111111";
    const std::string said = "echo x >>asked; n=$(wc -l <asked)\n";
    const struct {
        std::string boot, words;
        int sshStatus;
        const char* outcome;
        std::size_t reasons;
    } cases[] = {
        {"[ $n = 1 ] && echo " + before + " || echo " + after, begin + "T exit 0\n", 0, "passed", 1},
        {"case $n in 1) echo " + before + ";; 2) exit 255;; *) echo " + after + ";; esac", begin, 255,
         "passed", 1},
        {"echo " + before, begin + "T exit 0\n", 0, "failed", 0},
        {"[ $n = 1 ] && echo " + before + " || exit 255", begin + "T exit 0\n", 0, "failed", 0},
        {"[ $n = 1 ] && echo " + before + " || echo teapot", begin + "T exit 0\n", 0, "failed", 0},
        {"exit 255", begin + "T exit 0\n", 0, "needs-person", 0},  // nobody could follow it
        {"[ $n = 1 ] && echo " + before + " || echo " + after, begin + "T exit 1\n", 1, "incomplete", 1},
    };
    int number = 0;
    for (const auto& [boot, words, sshStatus, outcome, reasons] : cases) {
        fs::remove(bench / "asked");
        (void)file("boot", said + boot + "\n");
        more = {"--only", "watchdog", "--timeout", "0.6"};
        (void)stationWith(words, sshStatus, "", false);
        const Json kept = record(++number);
        EXPECT_EQ(kept["items"][0]["outcome"], outcome) << boot << kept["items"];
        EXPECT_EQ(kept["reasons"].size(), reasons) << kept["reasons"];
        EXPECT_EQ(kept["items"][0]["measured"].contains("restartSeconds"),
                  kept["items"][0]["outcome"] == "passed" || number == 7);
    }
}

// Each part is a call of its own; one that the board refuses after others ran is part of the attempt.
TEST_F(StationBoard, runsAPlanInOneAttempt) {
    const struct {
        std::string later;
        const char* reason;
    } cases[] = {{begin + "T exit 0\n", nullptr},
                 {"T kernel 4.4\nT refused busy 12 3\n", "still runs there"},
                 {begin + "T signal 9\n", "does not go with"}};
    int number = 0;
    for (const auto& [later, reason] : cases) {
        fs::remove(bench / "called");
        (void)file("later", later);
        more = {"--only", "buzzer", "--only", "buzzer"};
        EXPECT_EQ(stationWith(begin + "T exit 0\n", 0, "", false), 3);
        const Json kept = record(++number);
        ASSERT_EQ(kept["items"].size(), 2U) << kept["reasons"];
        EXPECT_EQ(kept["items"][0]["outcome"], "needs-person");
        EXPECT_EQ(kept["items"][1]["outcome"], reason == nullptr ? "needs-person" : "incomplete");
        EXPECT_EQ(kept["outcome"], reason == nullptr ? "needs-person" : "incomplete");
        EXPECT_THAT(kept["reasons"].dump(), HasSubstr(reason == nullptr ? "[]" : reason));
    }
}

TEST_F(StationBoard, passesOnlyWhatTheBoardHasToldToItsEnd) {
    const struct {
        std::string words;
        int sshStatus;
        int status;
        const char* reason;
    } cases[] = {
        {begin + "T exit 0\n", 0, 0, ""},
        {begin + "T left 10 11\nT exit 0\n", 0, 0, ""},
        {begin + "partial T exit 0\n", 0, 3, "broke off"},
        {begin + "T exit 0", 0, 3, "broke off"},
        {begin, 0, 3, "broke off: ssh ended with status 0"},
        {begin + "T exit 0\n", 255, 3, "does not go with the end of ssh"},
        {begin + "T exit 255\n", 255, 3, "the tool ended with status 255"},
        {begin + "T signal 9\n", 137, 3, "killed by signal 9"},
        {begin + "T signal 9\n", 9, 3, "does not go with"},
        {begin + "T ended timeout\nT signal 15\n", 121, 3, "did not end in time"},
        {begin + "T ended silence\nT exit 0\n", 121, 3, "heard no more from the station"},
        {begin + "T ended signal\nT exit 0\n", 121, 3, "by a signal"},
        {begin + "T ended copier\nT exit 0\n", 121, 3, "hands on the records"},
        {begin + "T ended copier\nT exit 0\n", 0, 3, "does not go with"},
        {begin + "T ended otherwise\nT exit 0\n", 121, 3, "not known to this station"},
        {begin + "T exit 0\nT exit 0\n", 0, 3, "not known to this station"},
        {begin + "T exit 0x\n", 0, 3, "not known to this station"},
        {begin + "T exit 256\n", 0, 3, "not known to this station"},
        {begin + "T exit\n", 0, 3, "not known to this station"},
        {begin + "T kernel 4.4\nT exit 0\n", 0, 3, "not known to this station"},
        {"T kernel 4.4\nT sha256 short\nT started 9\nT exit 0\n", 0, 3, "not known to this station"},
        {begin + "T refused not-started 127\n", 120, 3, "does not start"},  // yet records came
    };
    for (const auto& [words, sshStatus, status, reason] : cases) {
        EXPECT_EQ(stationWith(words, sshStatus), status) << words;
        const Json reasons = lastReasons();
        EXPECT_EQ(reasons.empty(), status == 0) << words << reasons;
        EXPECT_THAT(reasons.dump(), HasSubstr(reason)) << words;
    }
}

TEST_F(StationBoard, keepsNothingWhereNothingWasTested) {
    const struct {
        std::string words;
        int sshStatus;
        const char* reason;
        const char* log = "";
    } cases[] = {
        {"", 127, "no shell that runs our program; status 127"},
        {"", 255, "Connection refused", "debug1: x\r\nssh: connect: Connection refused\r\n"},
        {"T started 9\nT exit 0\n", 0, "not known to this station: started 9"},
        {"T kernel 4.4\nT refused busy 17 60\n", 120, "process 17, for 60 s, since "},
        {"T kernel 4.4\nno such applet\nT refused no-pipe 127 /p\n", 120, "no mkfifo\n  no such applet"},
        {begin + "T refused not-started 127\n", 120, "does not start"},
        {"T kernel 4.4\nT refused otherwise\n", 120, "not known to this station"},
        {"T kernel 4.4\n", 255, "closed by remote", "Connection closed by remote host.\r\ndebug1: a\nb\r\n"},
        {"T kernel 4.4\n", 255, "ssh-keygen -R", "@ REMOTE HOST IDENTIFICATION HAS CHANGED @\r\nbad\r\n"},
    };
    for (const auto& [words, sshStatus, reason, log] : cases) {
        EXPECT_EQ(stationWith(words, sshStatus, log, false), 2) << words;
        EXPECT_THAT(output(), HasSubstr(reason)) << words;
        fs::remove(bench / "output");
    }
    EXPECT_FALSE(fs::exists(attempt(1)));
}

TEST_F(StationBoard, wrongUseStaysOnThisMachine) {
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"--board", "", "--", "true"},
                                               {"--board", "-oProxyCommand=x"},
                                               {"--board", "b", "--records", "stdout"},
                                               {"--shared"},
                                               {"--tool", stationProgram},
                                               {"--board", "b", "--tool", "no-such-file"},
                                               {"--board", "b", "--tool", stationProgram, "--", "r8"}}) {
        std::vector<std::string> all = {stationProgram,    "run",    "--no-unit",   "--results",
                                        bench / "results", "--fifo", bench / "fifo"};
        all.insert(all.end(), words.begin(), words.end());
        EXPECT_EQ(statusOf(start(all)), 2) << testing::PrintToString(words);
    }
    EXPECT_FALSE(fs::exists(bench / "results"));
}

TEST(StationMarkers, areFoundWhereverTheStreamIsCut) {
    const std::string mark = "r8-station t ";
    const std::string text = "a\n" + mark + "x 1\nr8-stat" + mark + "y\nb" + mark + std::string(5000, 'z') +
                             "\n" + mark + "last\nr8-station t";
    const auto scan = [](std::initializer_list<std::string_view> pieces) {
        MarkerScanner scanner("t");
        std::string markers, rest;
        const auto onRest = [&rest](std::string_view bytes) { rest += bytes; };
        for (const std::string_view piece : pieces) {
            scanner.feed(
                piece, [&markers](std::string_view words) { markers += std::string(words) + ","; }, onRest);
        }
        scanner.finish(onRest);
        return std::pair(markers, rest);
    };
    const auto whole = scan({text});
    EXPECT_EQ(whole.first, "x 1,y,last,");
    EXPECT_EQ(whole.second, "a\nr8-statb" + mark + std::string(5000, 'z') + "\nr8-station t");
    for (std::size_t at = 0; at <= text.size(); ++at) {
        const std::string_view all = text;
        ASSERT_EQ(scan({all.substr(0, at), all.substr(at)}), whole) << at;
    }
}

TEST(StationMarkers, doNotHoldUpWhatHasNoEnd) {
    MarkerScanner scanner("t");
    std::string rest;
    scanner.feed(
        "r8-station t " + std::string(5000, 'z'), [](std::string_view) { FAIL(); },
        [&rest](std::string_view bytes) { rest += bytes; });
    EXPECT_EQ(rest.size(), 5013u);
}

TEST(StationLimit, isFiveRunsAndAtLeastThreeMinutes) {
    EXPECT_EQ(defaultLimit({}), 180);
    EXPECT_EQ(defaultLimit({7, 36}), 180);
    EXPECT_EQ(defaultLimit({7, 100}), 500);
    EXPECT_EQ(defaultLimit({7, 1e300}), 1e6);
}

}  // namespace
