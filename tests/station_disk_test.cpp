// What the station keeps: the files of an attempt, in their order and on a disk that is full, and what is
// made of them.

#include <sys/file.h>

#include "tests/station_program.h"

using namespace station;
using namespace station_test;
using testing::HasSubstr;

namespace {

class StationDisk : public StationRun {
  protected:
    // The station's status on a disk that is full for files whose path holds the text.
    int stationOnDisk(const std::string& fullFor, const std::vector<std::string>& words) const {
        std::vector<std::string> all = {"/usr/bin/env", "LD_PRELOAD=" + diskRecorder,
                                        "DISK_LOG=" + (bench / "log").string(), stationProgram};
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
    EXPECT_EQ(readFile(attempt(1) / "stream.raw"), healthy);
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
    EXPECT_FALSE(fs::exists(attempt(number + 1)));
    EXPECT_EQ(std::distance(fs::directory_iterator(bench / "results/7"), fs::directory_iterator()),
              number + 1);  // with the unit's lock
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
        EXPECT_THAT(readFile(bench / "results/report.html"), HasSubstr(R"("place":"7/0001")"));
        EXPECT_THAT(readFile(attempt(1) / "lines.txt"), HasSubstr(lastLine));
        waitForTheOrphan();
        EXPECT_EQ(station(runWords(healthy, "exit:0")), 0) << output();
        EXPECT_EQ(record(2)["outcome"], "passed");
    }
}

TEST_F(StationRun, stationsOnOneFolderEachGetTheirOwnAttempt) {
    std::vector<pid_t> children;
    for (int i = 0; i < 8; ++i) {
        std::vector<std::string> words = runWords(healthy, "exit:0", "", "fifo" + std::to_string(i));
        words.erase(words.begin() + 2);
        words[1] = "--no-unit";
        children.push_back(startStation(words));
    }
    for (const pid_t child : children) {
        EXPECT_EQ(statusOf(child), 0);
    }
    for (int number = 1; number <= 8; ++number) {
        EXPECT_EQ(record(number, "@bench")["reasons"], Json::array());
        EXPECT_EQ(record(number, "@bench")["attempt"], number);
    }
}

// Two runs at once would spoil each other. What the first leaves when it is killed keeps nobody out.
TEST_F(StationRun, testsAUnitOnceAtATime) {
    const pid_t first = startStation(runWords(healthy, "hang"));
    waitForLine(1, "R8TESTEND");
    const host::Descriptor stream(open((attempt(1) / "stream.raw").c_str(), O_RDONLY));
    EXPECT_NE(flock(stream.get(), LOCK_EX | LOCK_NB), 0);  // so that others see that it runs
    EXPECT_EQ(station(runWords(healthy, "exit:0", "", "other")), 2);
    EXPECT_THAT(output(), HasSubstr("unit 7 is being tested at this moment"));
    EXPECT_FALSE(fs::exists(attempt(2)));
    kill(first, SIGKILL);
    EXPECT_EQ(statusOf(first), 128 + SIGKILL);
    EXPECT_EQ(station(runWords(healthy, "exit:0", "", "other")), 0) << output();
    EXPECT_EQ(flock(stream.get(), LOCK_EX | LOCK_NB), 0);
    waitForTheOrphan();
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

TEST_F(StationRun, reportEscapesAndSurvivesBrokenRecords) {
    const std::vector<std::string> texts =
        changedTexts({"\n型号", "\n固件版本", "\n型号      :</script><script>\"&'"});
    const std::string results = bench / "results";
    const std::string stored = file("stored", stream(texts));
    ASSERT_EQ(station({"read", "--unit", "../<i>", "--clock", "auto", "--results", results, stored}), 0);
    int number = 8;
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
    fs::create_directories(fs::path(results) / "broken/99999999999");  // not ours
    ASSERT_EQ(station({"report", results}), 0) << output();
    const std::string page = readFile(bench / "results/report.html");
    EXPECT_THAT(page, HasSubstr(R"(["../\u003ci>",1,)"));
    EXPECT_THAT(page, HasSubstr(R"("%2E%2E%2F%3Ci%3E/0001")"));
    for (; number > 8; --number) {
        EXPECT_THAT(page, HasSubstr("[\"broken/" + std::to_string(number) + "\","));
    }
    EXPECT_THAT(page, HasSubstr(R"("unreadable":{"all":9,)"));
    EXPECT_THAT(page, testing::Not(HasSubstr("</script><script>")));
    EXPECT_THAT(output(), HasSubstr("1 units tested, 1 of 1 (100.0 %) passed at their first attempt"));
    EXPECT_TRUE(fs::exists(bench / "results/%2E%2E%2F%3Ci%3E/0001/record.json"));
}

}  // namespace
