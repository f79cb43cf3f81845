// Attempts of more than one part: what the operator is asked, what is settled later, what the gate asks, and
// what a kill leaves.

#include <pty.h>
#include <termios.h>

#include "station/keep/unit_lock.h"
#include "station/plan/gate.h"
#include "station/plan/plan.h"
#include "station/store/history.h"
#include "station/wrong_use.h"
#include "tests/station_program.h"

using namespace station;
using namespace station_test;
using testing::HasSubstr;

namespace {

class StationPlan : public StationRun {
  protected:
    std::vector<std::string> onlyWords(const std::vector<std::string>& items) const {
        const std::string fifo = bench / "fifo";
        std::vector<std::string> words = {"run",       "--unit",          "7",      "--clock", "auto",
                                          "--results", bench / "results", "--fifo", fifo};
        for (const std::string& item : items) {
            words.insert(words.end(), {"--only", item});
        }
        words.insert(words.end(),
                     {"--", vboardProgram, "healthy", "--fifo", fifo, "--raw", "--", "r8", "netR8test"});
        return words;
    }

    // The station with somebody at its terminal.
    pid_t startOnTerminal(std::vector<std::string> words, int& terminal) const {
        words.insert(words.begin(), stationProgram);
        const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
        if (child == 0) {
            _exit(execv(stationProgram.c_str(), pointersTo(words).data()));
        }
        return child;
    }

    int settle(const std::string& attempt, const std::string& item, const std::string& verdict,
               const std::string& by = "王芳") const {
        return station({"settle", attempt, item, verdict, "--by", by, "--results", bench / "results"});
    }
};

// One key each, whatever came before; with no answer the item stays open.
TEST_F(StationPlan, asksTheOperatorBehindEachTest) {
    int terminal = -1;
    const pid_t child = startOnTerminal(onlyWords({"buzzer", "front-panel", "watchdog"}), terminal);
    const host::Descriptor closer(terminal);
    std::string shown = readUntil(terminal, "[y/n] ");
    EXPECT_THAT(shown, HasSubstr("1. 蜂鸣器  2. 前面板  3. 看门狗"));
    EXPECT_THAT(shown, HasSubstr("[1/3 蜂鸣器]"));
    EXPECT_THAT(shown, HasSubstr("蜂鸣器响了吗? / Did the buzzer sound? "));
    EXPECT_EQ(write(terminal, "y7731", 5), 5);  // a label's text is no key
    (void)readUntil(terminal, "[y/n] ");
    EXPECT_EQ(write(terminal, "y", 1), 1);
    shown = readUntil(terminal, "[y/n] ");
    EXPECT_THAT(shown, HasSubstr("Did all lamps turn green, then red"));
    EXPECT_EQ(write(terminal, "n", 1), 1);
    shown = readUntil(terminal, "[y/n] ");
    EXPECT_THAT(shown, HasSubstr("Did the board restart?"));
    EXPECT_EQ(write(terminal, "\x04", 1), 1);  // no end of input for single keys
    (void)readUntil(terminal, "[y/n] ");
    EXPECT_EQ(write(terminal, "y", 1), 1);
    (void)readUntil(terminal, "/record.json");
    EXPECT_EQ(statusOf(child), 1);
    const Json kept = record(1);
    EXPECT_EQ(item(kept, "buzzer")["outcome"], "passed");
    EXPECT_EQ(item(kept, "front-panel")["outcome"], "failed");
    EXPECT_EQ(item(kept, "front-panel")["reason"],
              "the operator says that lamps or keys of the panel are not right");
    EXPECT_EQ(item(kept, "watchdog")["outcome"], "passed");
    ASSERT_EQ(kept["settled"].size(), 3U);
    EXPECT_EQ(kept["settled"][1]["item"], "front-panel");
    EXPECT_EQ(kept["settled"][1]["outcome"], "failed");
    EXPECT_EQ(kept["settled"][1]["by"], "operator");
    EXPECT_EQ(kept["steps"].size(), 3U);
    EXPECT_THAT(readFile(attempt(1) / "lines.txt"), HasSubstr("面板测试开始"));
}

// Ctrl-C, a terminal that goes away, and one that goes away from a station that is to outlive it.
TEST_F(StationPlan, aQuestionWithoutAnAnswerIsNoPass) {
    for (const std::string end : {"stop", "hang up", "outlive"}) {
        SCOPED_TRACE(end);
        fs::remove_all(bench / "results");
        (void)signal(SIGHUP, end == "outlive" ? SIG_IGN : SIG_DFL);
        int terminal = -1;
        const pid_t child = startOnTerminal(onlyWords({"buzzer", "network"}), terminal);
        host::Descriptor closer(terminal);
        (void)readUntil(terminal, "[y/n] ");
        if (end == "stop") {
            EXPECT_EQ(write(terminal, "\x03", 1), 1);
            (void)readUntil(terminal, "/record.json");
            termios attributes = {};
            EXPECT_EQ(tcgetattr(terminal, &attributes), 0);
            EXPECT_NE(attributes.c_lflag & ICANON, 0U);
        } else {
            closer.close();
        }
        EXPECT_EQ(statusOf(child), 3);
        EXPECT_EQ(record(1)["outcome"], end == "outlive" ? "needs-person" : "incomplete");
        EXPECT_EQ(item(record(1), "buzzer")["outcome"], "needs-person");
        EXPECT_EQ(settle("7/1", "buzzer", "pass"), end == "outlive" ? 3 : 2);
        EXPECT_THAT(record(1)["reasons"][0].get<std::string>(),
                    HasSubstr(end == "outlive" ? "only a part" : "stopped before the plan's end"));
    }
    (void)signal(SIGHUP, SIG_DFL);
}

TEST_F(StationPlan, aKillBetweenTwoPartsLeavesAReadableRecordThatIsNoPass) {
    for (const char* const lastWords : {"网卡1", "1024字节", "全双工"}) {
        fs::remove_all(bench / "results");
        const pid_t child = startStation(onlyWords({"network", "rs485-loopback", "network"}));
        waitForLine(1, lastWords);
        kill(child, SIGKILL);
        (void)statusOf(child);
        EXPECT_NE(record(1)["outcome"], "passed");
        EXPECT_EQ(FolderHistory(bench / "results").passedBefore("7"), 0);
        waitForTheOrphan();
    }
}

TEST_F(StationPlan, aKillAtTheClocksQuestionLosesNoReason) {
    std::vector<std::string> words = onlyWords({});
    *std::find(words.begin(), words.end(), "auto") = "ask";
    *std::find(words.begin(), words.end(), "healthy") = "faulty-network-down";
    int terminal = -1;
    const pid_t child = startOnTerminal(words, terminal);
    const host::Descriptor closer(terminal);
    (void)readUntil(terminal, "[y/n] ");
    kill(child, SIGKILL);
    EXPECT_EQ(statusOf(child), 128 + SIGKILL);
    EXPECT_EQ(item(record(1), "network")["reasons"].size(), 1U);
}

TEST_F(StationPlan, settlesWhatWasLeftToAPerson) {
    std::vector<std::string> words = runWords(healthy, "exit:0");
    *std::find(words.begin(), words.end(), "auto") = "leave";
    ASSERT_EQ(station(words), 3);
    ASSERT_EQ(station(words), 3);
    const Json before = record(1);
    for (const std::vector<std::string>& wrong : {std::vector<std::string>{"7/1", "network", "pass"},
                                                  {"7/1", "nothing", "pass"},
                                                  {"7/3", "clock", "pass"},
                                                  {"8/1", "clock", "pass"},
                                                  {"7", "clock", "pass"},
                                                  {"7/1", "clock", "maybe"},
                                                  {"7/1", "clock", "pass", " "}}) {
        EXPECT_EQ(settle(wrong[0], wrong[1], wrong[2], wrong.size() > 3 ? wrong[3] : "x"), 2)
            << wrong[0] + wrong[1];
    }
    EXPECT_EQ(record(1), before);
    EXPECT_FALSE(fs::exists(bench / "results/8"));

    EXPECT_EQ(settle("7/1", "clock", "pass"), 0) << output();
    Json after = record(1);
    EXPECT_EQ(after["outcome"], "passed");
    EXPECT_EQ(item(after, "clock")["outcome"], "passed");
    EXPECT_EQ(after["settled"][0]["by"], "王芳");
    EXPECT_EQ(after["steps"], before["steps"]);
    EXPECT_THAT(readFile(attempt(1) / "junit.xml"), HasSubstr("errors=\"0\" skipped=\"0\""));
    EXPECT_EQ(settle("7/1", "clock", "fail"), 2);  // it was said

    for (const char* const changed :
         {R"([{"op":"add","path":"/reasons/-","value":"x"}])",
          R"([{"op":"replace","path":"/items/0/outcome","value":"incomplete"}])"}) {
        std::ofstream(attempt(1) / "record.json") << before.patch(Json::parse(changed));
        EXPECT_EQ(settle("7/1", "clock", "pass"), 3) << changed;
        EXPECT_EQ(record(1)["outcome"], "incomplete");
    }
    EXPECT_EQ(settle("7/0002", "clock", "fail"), 1);
    EXPECT_EQ(record(2)["outcome"], "failed");
    EXPECT_THAT(readFile(attempt(2) / "junit.xml"),
                HasSubstr("<failure message=\"王芳 says that it is not right\""));
    EXPECT_THAT(readFile(attempt(2) / "junit.xml"), HasSubstr("failures=\"1\" errors=\"0\" skipped=\"0\""));
}

TEST_F(StationPlan, settlesNothingOfAnAttemptThatRunsOrIsIncomplete) {
    ASSERT_EQ(station(onlyWords({"buzzer"})), 3);
    EXPECT_EQ(settle("7/1", "buzzer", "pass"), 3);  // a part is no pass of the unit
    EXPECT_EQ(record(1)["outcome"], "incomplete");
    const pid_t child = startStation(runWords(healthy, "hang"));
    waitForLine(2, "R8TESTEND");
    EXPECT_EQ(settle("7/2", "clock", "pass"), 2);
    kill(child, SIGTERM);
    EXPECT_EQ(statusOf(child), 3);
    EXPECT_EQ(settle("7/2", "clock", "pass"), 2);
    EXPECT_EQ(record(2)["outcome"], "incomplete");
}

TEST_F(StationPlan, refusesWhatItCanNotRun) {
    std::vector<std::string> words = onlyWords({"buzzer"});
    words.back() = "-o";
    EXPECT_EQ(station(words), 2);
    EXPECT_THAT(output(), HasSubstr("netR8test"));
    EXPECT_EQ(station(onlyWords({"teapot"})), 2);
    EXPECT_FALSE(fs::exists(bench / "results"));
}

TEST(StationPlanWords, aSingleTestTakesThePlaceOfTheFullRun) {
    using Words = std::vector<std::string>;
    const Words command = {"vboard", "healthy", "--", "r8", "netR8test"};
    EXPECT_EQ(commandOf({}, command), command);
    EXPECT_EQ(commandOf({.test = 9}, command), (Words{"vboard", "healthy", "--", "r8", "-o", "9"}));
    EXPECT_EQ(commandOf({.test = 10, .repetitions = 3}, {"r8", "netR8test", "x"}),
              (Words{"r8", "-o", "10", "3", "x"}));
    EXPECT_THROW((void)commandOf({.test = 12}, command), WrongUse);
    EXPECT_THROW((void)commandOf({.test = 2}, {"r8"}), WrongUse);
}

// One attempt, one record, one verdict; then the gate, by which the same unit and its twin are known.
TEST_F(StationPlan, runsAProductsPlanThroughItsGate) {
    const std::string product = file("p.toml",
                                     "[unit]\nserial = \"[0-9]\"\nfailedAttempts = 0\n"
                                     "[[test]]\nnumber = 2\nwhen = \"before\"\nask = true\n"
                                     "[[test]]\nnumber = 4\ncount = 2\n[[test]]\nnumber = 9\n");
    const auto run = [&](const std::string& unit, const std::vector<std::string>& more = {},
                         const std::string& scenario = "healthy") {
        std::vector<std::string> words = onlyWords({});
        words[2] = unit;
        *std::find(words.begin(), words.end(), "healthy") = scenario;
        words.insert(words.begin() + 1, {"--product", product});
        words.insert(words.begin() + 1, more.begin(), more.end());
        return station(words);
    };
    EXPECT_EQ(run("x"), 2);
    EXPECT_FALSE(fs::exists(bench / "results"));
    EXPECT_EQ(run("7"), 3) << output();
    std::vector<std::string> names;
    const Json first = record(1);
    for (const Json& one : first["items"]) {
        names.push_back(one["name"]);
    }
    EXPECT_THAT(names, testing::ElementsAre("network", "rs485", "alarm", "usb", "cpld", "sata", "clock",
                                            "buzzer", "rs485-loopback", "watchdog"));
    EXPECT_EQ(item(record(1), "rs485-loopback")["measured"]["blocks"], 2);
    EXPECT_EQ(record(1)["outcome"], "needs-person");
    EXPECT_THAT(readFile(attempt(1) / "junit.xml"), HasSubstr("skipped=\"2\""));
    EXPECT_EQ(settle("7/1", "buzzer", "pass"), 3);
    EXPECT_EQ(settle("7/1", "watchdog", "pass"), 0);

    EXPECT_EQ(run("7"), 2);
    EXPECT_THAT(output(), HasSubstr("unit 7 has passed already, with attempt 1; --again"));
    EXPECT_FALSE(fs::exists(attempt(2)));
    EXPECT_EQ(run("7", {"--again"}), 3);
    EXPECT_EQ(record(2)["overrides"][0]["option"], "--again");
    EXPECT_EQ(run("7", {"--again"}, "faulty-drive-missing"), 1);
    EXPECT_EQ(run("7", {"--again"}), 2);
    EXPECT_THAT(output(), HasSubstr("--repaired"));
    EXPECT_EQ(run("7", {"--again", "--repaired", " "}), 2);
    EXPECT_EQ(run("7", {"--again", "--repaired", "port 2"}), 3);
    EXPECT_EQ(record(4)["repaired"], "port 2");

    EXPECT_EQ(run("8"), 1);
    EXPECT_EQ(item(record(1, "8"), "network")["reason"], "MAC 00:1a:2b:3c:4d:5f belongs to unit 7");
    EXPECT_THAT(item(record(1, "8"), "network")["reasons"][0]["zh"].get<std::string>(),
                HasSubstr("属于设备 7"));
    std::ofstream(attempt(1, "8") / "record.json") << "{";
    EXPECT_EQ(run("9", {}), 3);
    EXPECT_EQ(record(1, "9")["outcome"],
              item(record(1, "9"), "network")["outcome"] == "failed" ? "failed" : "incomplete");
}

// Another unit's record with the same addresses comes while the lock is held; nobody looks before.
TEST_F(StationPlan, unitsThatEndAtOnceSeeEachOthersAddresses) {
    fs::create_directories(attempt(1, "8"));
    host::Descriptor lock = lockAddresses(bench / "results");
    std::vector<std::string> words = onlyWords({});
    words.insert(words.begin() + 1, {"--product", file("p.toml", "[network]\n")});
    std::ofstream(attempt(1, "8") / "record.json")
        << R"({"unit":"8","outcome":"passed","started":"","reasons":[],"items":[],"board":{"macs":[]}})";
    const pid_t child = startStation(words);
    waitForLine(1, "R8TESTEND");
    std::ofstream(attempt(1, "8") / "record.json")
        << R"({"unit":"8","outcome":"passed","started":"","reasons":[],"items":[],)"
        << R"("board":{"macs":["00:1a:2b:3c:4d:5f"]}})";
    lock.close();
    EXPECT_EQ(statusOf(child), 1) << output();
}

// A gate asks for each thing in turn, and an option opens it and is kept.
TEST_F(StationPlan, gateTable) {
    const auto keep = [this](const std::string& unit, int number, const std::string& text) {
        fs::create_directories(attempt(number, unit));
        std::ofstream(attempt(number, unit) / "record.json") << text;
    };
    const auto past = [&](const std::string& unit, int number, const std::string& outcome,
                          const std::string& started = "2001-01-01T00:00:00Z", const std::string& more = "") {
        keep(unit, number,
             R"({"unit":")" + unit + R"(","outcome":")" + outcome + R"(","started":")" + started +
                 R"(","reasons":[],"items":[],"board":{"macs":["00:11:22:33:44:55"]})" + more + "}");
    };
    past("passed", 1, "passed");
    past("passed", 2, "failed");
    past("failed", 1, "failed");
    past("failed", 2, "incomplete");
    past("failed", 3, "failed");
    past("failed", 4, "failed", "2001-01-01T00:00:00Z", R"(,"only":["sata"])");
    past("repaired", 1, "failed");
    past("repaired", 2, "failed");
    past("repaired", 3, "failed", "2001-01-01T00:00:00Z", R"(,"repaired":"R7")");
    past("part", 1, "passed", "2001-01-01T00:00:00Z", R"(,"only":["sata"])");
    keep("broken", 1, "{\"outcome\":");
    fs::create_directories(attempt(1, "nothing"));
    past("golden", 1, "passed");
    char today[32];
    const std::time_t now = std::time(nullptr);
    (void)std::strftime(today, sizeof today, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&now));
    past("gold2", 1, "failed", today);
    past("gold3", 1, "passed", today, R"(,"product":{"name":"p.toml"})");
    past("gold4", 1, "passed", today, R"(,"product":null)");

    const struct {
        const char* unit;
        GateRules rules;
        GateOptions options;
        std::vector<std::string> only;
        const char* refusal;    // part of it; empty: the gate is open
        const char* overrides;  // gates
    } cases[] = {
        {"new", {}, {}, {}, "", ""},
        {"new", {.serialPattern = "[0-9]+", .serialFits = false}, {}, {}, "--any-serial", ""},
        {"new", {.serialFits = false}, {.anySerial = true}, {}, "", "serial "},
        {"new", {.serialFits = false}, {.again = true}, {"sata"}, "--any-serial", ""},
        {"passed", {}, {}, {}, "passed already, with attempt 1; --again", ""},
        {"passed", {}, {.again = true}, {}, "", "passed "},
        {"passed", {}, {}, {"sata"}, "", ""},
        {"part", {}, {}, {}, "", ""},
        {"failed", {}, {}, {}, "", ""},
        {"failed", {.failedAttemptsAllowed = 2}, {}, {}, "", ""},
        {"failed",
         {.failedAttemptsAllowed = 1},
         {},
         {},
         "failed 2 times, 1 are allowed without a repair; --repaired",
         ""},
        {"failed", {.failedAttemptsAllowed = 1}, {.repaired = "R7 new"}, {}, "", "failed-attempts "},
        {"repaired", {.failedAttemptsAllowed = 0}, {}, {}, "failed 1 times", ""},
        {"repaired", {.failedAttemptsAllowed = 1}, {}, {}, "", ""},
        {"broken", {}, {}, {}, "nobody can tell", ""},
        {"broken", {}, {.again = true}, {}, "", "passed "},
        {"broken", {.failedAttemptsAllowed = 9}, {.again = true}, {}, "--repaired", ""},
        {"nothing", {}, {}, {}, "nobody can tell", ""},
        {"new", {.goldenUnit = "golden"}, {}, {}, "golden unit golden has not passed today; --no-golden", ""},
        {"new", {.goldenUnit = "gold2"}, {}, {}, "--no-golden", ""},
        {"new", {.goldenUnit = "gold3"}, {}, {}, "", ""},
        {"new", {.goldenUnit = "gold4"}, {}, {}, "--no-golden", ""},
        {"new", {.goldenUnit = "never"}, {.noGolden = true}, {}, "", "golden "},
        {"golden", {.goldenUnit = "golden"}, {}, {}, "", ""},
        {"passed", {.goldenUnit = "gold2"}, {.again = true, .noGolden = true}, {}, "", "passed golden "},
    };
    const FolderHistory history(bench / "results");
    for (const auto& [unit, rules, options, only, refusal, expected] : cases) {
        AttemptInfo info;
        info.unit = unit;
        info.only = only;
        std::string refused;
        std::string overrides;
        try {
            for (const GateOverride& one : passGate(rules, options, history, info)) {
                overrides += one.gate + " ";
                EXPECT_NE(one.text, "");
                EXPECT_THAT(one.option, testing::StartsWith("--"));
            }
        } catch (const WrongUse& error) {
            refused = error.what();
        }
        EXPECT_EQ(refused.empty(), *refusal == '\0') << unit << ": " << refused;
        EXPECT_THAT(refused, HasSubstr(refusal)) << unit;
        EXPECT_EQ(overrides, expected) << unit;
    }
    fs::remove_all(bench / "results/broken");
    EXPECT_THROW((void)history.ownerOfMac("00:11:22:33:44:56", "new"),
                 UnknownHistory);  // "nothing" may have it
    fs::remove_all(bench / "results/nothing");
    EXPECT_NE(history.ownerOfMac("00:11:22:33:44:55", "new"), "");
    EXPECT_NE(history.ownerOfMac("00:11:22:33:44:55", "passed"), "passed");
    EXPECT_EQ(history.ownerOfMac("00:11:22:33:44:56", "new"), "");
    for (const char* const unit : {"gold3", "gold4", "golden", "part"}) {
        fs::remove_all(bench / "results" / unit);
    }
    EXPECT_EQ(history.ownerOfMac("00:11:22:33:44:55", "passed"), "");  // others have only failed with it
    EXPECT_NE(history.ownerOfMac("00:11:22:33:44:55", "failed"), "");
    past("failed", 5, "passed");
    EXPECT_EQ(history.ownerOfMac("00:11:22:33:44:55", "passed"), "failed");
}

}  // namespace
