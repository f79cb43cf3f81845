// The index beside the attempts' folders: whatever happens to it, the report says what the folders say.

#include <sys/file.h>

#include <random>

#include "station/show/csv.h"
#include "station/show/page_units.h"
#include "tests/station_program.h"

using namespace station;
using namespace station_test;
using testing::HasSubstr;

namespace {

class StationIndex : public StationRun {
  protected:
    // An attempt as a station leaves it; started on that day at that minute.
    void keep(const std::string& unit, int number, const std::string& outcome, int minute,
              const Json& more = Json::object()) const {
        const std::string time = "2026-11-20T08:" + std::to_string(minute) + ":00Z";
        const Json check = {{"value", "found"},
                            {"measured", outcome == "failed" ? 2 : 3},
                            {"minimum", 3},
                            {"passed", outcome != "failed"}};
        const Json usb = {{"name", "usb"},
                          {"title", "USB"},
                          {"outcome", outcome == "failed" ? "failed" : "passed"},
                          {"measured", {{"found", check["measured"]}, {"bias", -1.5}}},
                          {"checks", {check}}};
        Json record = {{"version", 2},
                       {"id", "00000000-0000-4000-8000-0000000" + std::to_string(10000 + minute)},
                       {"unit", unit},
                       {"attempt", number},
                       {"outcome", outcome},
                       {"reasons", Json::array()},
                       {"started", time},
                       {"ended", time},
                       {"durationSeconds", minute},
                       {"product", {{"name", "=QM"}, {"sha256", ""}}},
                       {"items", {usb}}};
        record.update(more);
        const fs::path folder = results / unit / ("000" + std::to_string(number));
        fs::create_directories(folder);
        std::ofstream(folder / "record.json") << record.dump();
    }

    void keepThree() const {
        keep("a", 1, "failed", 10);
        keep("a", 2, "passed", 20);
        keep("b", 1, "passed", 30);
    }

    // What it prints is all of the output.
    int quiet(const std::vector<std::string>& words) const {
        fs::remove(bench / "output");
        return station(words);
    }

    // Through a disk that fails as the variable says.
    int stationOnDisk(const std::string& variable, const std::vector<std::string>& words) const {
        std::vector<std::string> all = {"/usr/bin/env", "LD_PRELOAD=" + diskRecorder, "HOME=/dev/null",
                                        variable, stationProgram};
        all.insert(all.end(), words.begin(), words.end());
        return statusOf(start(all));
    }

    Json report(const std::vector<std::string>& more = {}) const {
        std::vector<std::string> words = {"report", "--json", results};
        words.insert(words.end(), more.begin(), more.end());
        EXPECT_EQ(quiet(words), 0) << output();
        return Json::parse(output(), nullptr, false);
    }

    void expectThree(const std::string& what) const {
        const Json totals = report()["totals"];
        EXPECT_EQ(totals["attempts"], 3) << what;
        EXPECT_EQ(totals["units"], 2) << what;
        EXPECT_EQ(totals["passedFirst"], 1) << what;
        EXPECT_EQ(totals["passedLast"], 2) << what;
    }

    void removeIndex() const {
        for (const char* const suffix : {"", "-wal", "-shm"}) {
            fs::remove_all(index + suffix);
        }
    }

    const fs::path results = bench / "results";
    const std::string index = results / "index.sqlite";
};

TEST_F(StationIndex, isGoodWhereverItsWriterIsKilledOrTheDiskIsFull) {
    keepThree();
    for (const std::string& variable : {std::string("DISK_KILL_AT="), std::string("DISK_FULL_AT=")}) {
        int step = 1;
        for (;; step += 1 + step / 8) {
            removeIndex();
            const int status = stationOnDisk(variable + std::to_string(step), {"index", results});
            expectThree(variable + std::to_string(step));
            if (variable == "DISK_KILL_AT=" ? status == 0 : step > 60) {
                break;
            }
            EXPECT_EQ(status, variable == "DISK_KILL_AT=" ? 128 + SIGKILL : 0);
        }
        EXPECT_GT(step, 20);  // there were steps to be killed at
    }
}

TEST_F(StationIndex, isMadeAnewWhenItIsBroken) {
    keepThree();
    std::mt19937 chance(7);
    expectThree("new");
    const std::string whole = readFile(index);
    for (int round = 0; round < 30; ++round) {
        std::string bytes = whole;
        // Pages have a head that the database looks at; values it does not know.
        const std::size_t at = round == 0 ? 0 : chance() % (whole.size() / 4096) * 4096;
        bytes.replace(at, 8, 8, static_cast<char>(chance()));
        bytes.resize(round % 3 == 2 ? chance() % bytes.size() : bytes.size());
        removeIndex();
        std::ofstream(index) << bytes;
        expectThree("round " + std::to_string(round));
    }
    for (const std::string& text : {std::string(), std::string("no database"), std::string(100000, 'x')}) {
        removeIndex();
        std::ofstream(index) << text;
        expectThree(text.substr(0, 20));
    }
}

TEST_F(StationIndex, isDoneWithoutWhereItCanNotBe) {
    keepThree();
    fs::create_directories(index);
    EXPECT_EQ(stationOnDisk("X=", {"report", "--json", results}), 0);
    EXPECT_THAT(output(), HasSubstr(R"("attempts":3)"));
    EXPECT_EQ(stationOnDisk("X=", {"index", "--rebuild", results}), 2);
}

TEST_F(StationIndex, leavesAloneWhatHoldsNoAttempts) {
    const fs::path others = bench / "others";
    fs::create_directories(others / "ssh/0x1");
    std::ofstream(others / "ssh/record.json") << "{}";
    std::ofstream(others / "ssh/0x1/record.json") << "{}";
    std::ofstream(others / "passwd") << "root";
    fs::create_symlink(others, others / "loop");
    EXPECT_EQ(station({"report", others}), 0);
    EXPECT_THAT(output(), HasSubstr("no attempts"));
    EXPECT_EQ(std::distance(fs::directory_iterator(others), fs::directory_iterator()), 3);
}

TEST_F(StationIndex, isSharedByAllWhoReadAtOnce) {
    keepThree();
    std::vector<pid_t> readers;
    for (int i = 0; i < 6; ++i) {
        readers.push_back(startStation({"index", results}));
    }
    for (const pid_t reader : readers) {
        EXPECT_EQ(statusOf(reader), 0);
    }
    expectThree("after six readers");
}

TEST_F(StationIndex, followsTheFolders) {
    keepThree();
    expectThree("new");
    fs::copy(results / "a", results / "copy", fs::copy_options::recursive);
    expectThree("a copy counts once");
    fs::remove_all(results / "a");
    expectThree("the copy stands for it");
    keep("b", 2, "failed", 40);
    EXPECT_EQ(report()["totals"]["retests"], 2);
    keep("b", 2, "passed", 40, {{"lot", "another length"}});
    EXPECT_EQ(report()["items"][0]["failed"], 1);
    fs::remove_all(results / "copy/0001");
    EXPECT_EQ(report()["totals"]["passedFirst"], 2);
    fs::remove_all(results / "copy");
    EXPECT_EQ(report()["totals"]["units"], 1);
    std::ofstream(results / "b/0001/record.json") << "{";
    fs::create_directories(results / "lost/0001");
    std::ofstream(results / "lost/0001/lines.txt") << "";  // its record is gone
    EXPECT_EQ(report()["unreadable"][0]["place"], "b/0001");
    EXPECT_EQ(report()["unreadable"][1]["place"], "lost/0001");
    EXPECT_EQ(report()["totals"]["attempts"], 1);
}

TEST_F(StationIndex, countsNeitherWhatRunsNorWhatIsNoFullRun) {
    keepThree();
    keep("c", 1, "incomplete", 41, {{"ended", nullptr}, {"reasons", {"it died"}}});
    keep("d", 1, "needs-person", 42);
    keep("e", 1, "passed", 43, {{"only", {"usb"}}});
    keep("@bench", 1, "failed", 44, {{"unit", nullptr}});
    std::ofstream(results / "c/0001/stream.raw") << "";
    const host::Descriptor stream(open((results / "c/0001/stream.raw").c_str(), O_RDONLY));
    ASSERT_EQ(flock(stream.get(), LOCK_EX | LOCK_NB), 0);
    expectThree("with others");
    Json totals = report()["totals"];
    EXPECT_EQ(totals["running"], 1);
    EXPECT_FALSE(report().contains("incomplete"));
    EXPECT_EQ(totals["incomplete"], 0);
    EXPECT_EQ(totals["needsPerson"], 1);
    EXPECT_EQ(totals["partial"], 1);
    EXPECT_EQ(totals["bench"], 1);
    ASSERT_EQ(flock(stream.get(), LOCK_UN), 0);
    const Json after = report();
    EXPECT_EQ(after["totals"]["running"], 0);
    EXPECT_EQ(after["incomplete"][0]["reason"], "it died");
    EXPECT_EQ(report({"--unit", "a"})["totals"]["attempts"], 2);
    EXPECT_EQ(report({"--since", "2026-11-21"})["totals"]["attempts"], 0);
}

TEST_F(StationIndex, exportsStableLines) {
    keepThree();
    ASSERT_EQ(quiet({"export", "--unit", "a", results}), 0) << output();
    EXPECT_EQ(
        output(),
        "id,unit,attempt,started,ended,duration_seconds,outcome,running,partial,product,product_sha256,"
        "station,station_version,fixture,operator,lot,repaired,overrides,reasons,failed_items,folder\r\n"
        "00000000-0000-4000-8000-000000010010,a,1,2026-11-20T08:10:00Z,2026-11-20T08:10:00Z,10,failed,false,"
        "false,'=QM,,,,,,,,,,usb,a/0001\r\n"
        "00000000-0000-4000-8000-000000010020,a,2,2026-11-20T08:20:00Z,2026-11-20T08:20:00Z,20,passed,false,"
        "false,'=QM,,,,,,,,,,,a/0002\r\n");
    ASSERT_EQ(quiet({"export", "--values", "--item", "usb", "--unit", "a", results}), 0) << output();
    EXPECT_THAT(output(), HasSubstr(",a,1,2026-11-20T08:10:00Z,failed,'=QM,,usb,bias,-1.5,,,,,\r\n"));
    EXPECT_THAT(output(), HasSubstr(",a,1,2026-11-20T08:10:00Z,failed,'=QM,,usb,found,2,,3,,,false\r\n"));
    ASSERT_EQ(quiet({"export", "--values", "--format", "json-lines", "--unit", "b", results}), 0);
    EXPECT_THAT(output(), HasSubstr(R"("item":"usb","value":"found","measured":3.0,"measured_text":null,)"
                                    R"("minimum":3.0,"maximum":null,"expected":null,"passed":true})"));
}

TEST_F(StationIndex, pagePutsFirstWhatNeedsAttention) {
    keepThree();
    keep("z", 1, "failed", 11);
    ASSERT_EQ(station({"report", results}), 0) << output();
    const std::string page = readFile(results / "report.html");
    const Json data = Json::parse(page.substr(page.find("{\"figures\""))
                                      .substr(0, page.substr(page.find("{\"figures\"")).find("</script>")));
    EXPECT_EQ(data["rows"][0][0], "z");
    EXPECT_EQ(data["rows"][1][0], "b");  // the newest of the others
    EXPECT_EQ(data["texts"][data["rows"][0][7].get<std::size_t>()], "usb");
    EXPECT_EQ(data["details"]["a"][0]["number"], 2);
    EXPECT_EQ(data["details"]["z"][0]["items"][0][0], "usb");
    EXPECT_EQ(data["details"]["z"][0]["values"][1], Json::parse(R"(["usb","found",2.0,3.0,null,"",0])"));
    EXPECT_EQ(data["figures"]["yield"]["list"][0][2], 3);  // units tested for the first time
    EXPECT_EQ(data["figures"]["yield"]["list"][0][3], 1);
    const Json& trend = data["figures"]["trends"]["list"][0];
    EXPECT_EQ(trend["value"], "found");  // what was outside its limits comes first
    EXPECT_EQ(trend["outside"], 2);
    EXPECT_EQ(data["figures"]["durations"]["list"], Json::parse(R"([["=QM",4,11.0,30.0]])"));
}

TEST(ReportPage, keepsToItsSize) {
    const std::deque<UnitLine> units(100);
    PageTexts texts;
    const PagePart rows = unitRows(inOrderOfAttention(units), texts, 1000);
    EXPECT_LE(rows.json.size(), 1001);
    EXPECT_GT(rows.units, 20);
    EXPECT_EQ(Json::parse(rows.json).size(), rows.units);
}

TEST(Csv, isHarmlessAndCanBeReadBack) {
    const std::pair<const char*, const char*> cases[] = {{"plain", "plain"},
                                                         {"a,b", "\"a,b\""},
                                                         {"say \"no\"", "\"say \"\"no\"\"\""},
                                                         {"two\nlines", "\"two\nlines\""},
                                                         {"=1+1", "'=1+1"},
                                                         {"@x", "'@x"},
                                                         {"-x", "'-x"},
                                                         {"-1.5", "-1.5"},
                                                         {"+1", "'+1"},
                                                         {"-1e5", "'-1e5"},
                                                         {"", ""}};
    for (const auto& [text, cell] : cases) {
        EXPECT_EQ(csvCell(text), cell);
    }
}

TEST_F(StationIndex, programBehindAnAttemptChangesNothing) {
    const std::string noted = bench / "noted";
    const struct {
        std::vector<std::string> program;
        const char* trouble;
    } cases[] = {
        {{"/bin/sh", "-c", "echo \"$0 $1\" >" + noted, "to us"}, ""},
        {{"/bin/sh", "-c", "exit 5"}, "--after /bin/sh: it ended with status 5"},
        {{"/bin/sh", "-c", "kill -9 $$"}, "--after /bin/sh: it was ended by signal 9"},
        {{"/bin/tail", "-f", "/dev/null"}, "--after /bin/tail: it took too long and was ended"},
        {{"/no/such/program"}, "--after /no/such/program: it ended with status 127"},
    };
    int number = 0;
    for (const auto& [program, trouble] : cases) {
        std::vector<std::string> words = {"read",  "--unit",        "7",  "--clock", "auto", "--results",
                                          results, "--after-limit", "0.3"};
        if (*trouble == '\0' || program[0] == "/bin/sh") {
            words.back() = "60";
        }
        for (const std::string& word : program) {
            words.push_back("--after=" + word);
        }
        words.push_back(file("stored", healthy));
        EXPECT_EQ(station(words), 0) << output();
        EXPECT_EQ(record(++number)["outcome"], "passed");
        EXPECT_THAT(output(), HasSubstr(trouble));
        EXPECT_EQ(fs::exists(attempt(number) / "after.txt"), *trouble != '\0') << trouble;
    }
    EXPECT_EQ(readFile(noted), "to us " + (attempt(1) / "record.json\n").string());
}

}  // namespace
