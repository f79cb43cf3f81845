// The station in front of every board that runs the networked test: steps, outcomes and measured values
// to the byte, nothing lost.

#include <map>
#include <numeric>

#include "tests/golden.h"
#include "tests/station_bench.h"

using namespace station_test;
using testing::HasSubstr;

namespace {

using Lines = std::vector<std::string>;

// The board, steps and items as the record has them. Before the first step console and pipe come in any
// order.
Lines storyOf(const Json& record) {
    const auto text = [](const Json& json, const char* key) { return json.value(key, "") + " "; };
    Lines lines = {"board " + record["board"].dump()};
    for (const Json& step : record["steps"]) {
        if (step["name"] != "preparation") {
            lines.push_back("step " + step["number"].dump() + " " + text(step, "name") + text(step, "title"));
        }
    }
    for (const Json& item : record["items"]) {
        lines.push_back("item " + text(item, "name") + text(item, "title") + text(item, "outcome") +
                        text(item, "reason") + item["measured"].dump());
    }
    lines.push_back("outcome " + text(record, "outcome"));
    return lines;
}

// With the mark, the lines that the other story does not have.
std::string differing(const Lines& lines, const Lines& other, const std::string& mark) {
    std::string text;
    for (const std::string& line : lines) {
        if (std::find(other.begin(), other.end(), line) == other.end()) {
            text += mark + line + "\n";
        }
    }
    return text;
}

class StationScenarios : public StationBench {
  protected:
    pid_t startScenario(const std::string& name) const {
        return start({vboardProgram, name, "--station", bench / name});
    }

    // The bytes of the pipe are those that the same board gives to a supervisor that is never late.
    void expectNothingLost(const Json& record, const fs::path& attemptFolder, const std::string& scenario) {
        const vboard::Run board = boardRun(scenario);
        const std::string bytes = std::accumulate(board.writes.begin(), board.writes.end(), std::string());
        EXPECT_EQ(record["lostLines"], 0);
        EXPECT_EQ(record["stream"]["records"], board.writes.size());
        EXPECT_EQ(station::readFile(attemptFolder / "stream.raw"), bytes);
    }

    // In full of the healthy board, of any other what differs from it. The unit's outcome is that of its
    // worst item.
    void expectRecord(const std::string& scenario, int status) {
        SCOPED_TRACE(scenario);
        const fs::path attemptFolder = bench / scenario / scenario / "0001";
        const Json kept = Json::parse(station::readFile(attemptFolder / "record.json"));
        const Lines story = storyOf(kept);
        expectGolden("station-" + scenario,
                     differing(healthyStory, story, "- ") + differing(story, healthyStory, "+ "));
        if (scenario == "healthy") {
            healthyStory = story;
        }
        EXPECT_EQ(kept["reasons"], Json::array());
        std::map<std::string, int> outcomes;
        for (const Json& item : kept["items"]) {
            ++outcomes[item["outcome"]];
            EXPECT_TRUE(item["outcome"] == "passed" || scenario != "healthy") << item;
        }
        EXPECT_EQ(outcomes["failed"], isFaulty(scenario) ? 1 : 0);
        EXPECT_EQ(status, outcomes["failed"]);
        EXPECT_EQ(kept["outcome"], outcomes["failed"] != 0 ? "failed" : "passed");
        const std::string counts = "tests=\"" + std::to_string(kept["items"].size() + 1) + "\" failures=\"" +
                                   std::to_string(outcomes["failed"]) + "\" errors=\"0\" skipped=\"" +
                                   std::to_string(outcomes["skipped"]) + "\"";
        EXPECT_THAT(station::readFile(attemptFolder / "junit.xml"), HasSubstr(counts));
        expectNothingLost(kept, attemptFolder, scenario);
    }

    Lines healthyStory;
};

// Two at a time: each station shares the machine with a tool, two boards and another station.
TEST_F(StationScenarios, giveTheirGoldenRecordOnALoadedMachine) {
    std::string schemaCheck = "/usr/bin/python3 -W ignore -m jsonschema";
    Lines networked = {"healthy"};
    for (const auto& [name, shows] : vboard::listScenarios()) {
        if (name != "healthy" && vboard::VirtualBoard(name).arguments.front() == "netR8test") {
            networked.push_back(name);
        }
    }
    pid_t station = startScenario(networked[0]);
    for (std::size_t i = 0; i < networked.size(); ++i) {
        const pid_t next = i + 1 < networked.size() ? startScenario(networked[i + 1]) : -1;
        expectRecord(networked[i], statusOf(station));
        station = next;
    }
    for (const auto& entry : fs::recursive_directory_iterator(bench)) {
        schemaCheck += entry.path().filename() == "record.json" ? " -i " + entry.path().string() : "";
    }
    EXPECT_EQ(std::system((schemaCheck + " " RECORD_SCHEMA).c_str()), 0);
}

// The tool starts, writes all and ends while its station does not get to run.
TEST_F(StationScenarios, readerThatIsSlowToStartLosesNothing) {
    const std::string fifo = bench / "fifo";
    const std::string script = "kill -STOP $PPID; \"$@\"; status=$?; kill -CONT $PPID; exit $status";
    const pid_t station = start(
        {stationProgram, "run",    "--unit", "7",       "--clock", "auto", "--results", bench / "results",
         "--fifo",       fifo,     "--",     "/bin/sh", "-c",      script, "sh",        vboardProgram,
         "healthy",      "--fifo", fifo,     "--raw",   "--",      "r8",   "netR8test"});
    EXPECT_EQ(statusOf(station), 0) << output();
    expectNothingLost(record(1), attempt(1), "healthy");
}

}  // namespace
