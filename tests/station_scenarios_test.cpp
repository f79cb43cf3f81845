// The station in front of every board that runs the networked test: outcome, measured values, nothing lost.

#include <numeric>

#include "tests/station_bench.h"

using namespace station_test;
using testing::HasSubstr;

namespace {

constexpr struct {
    const char* scenario;
    const char* item;
    const char* outcome;   // of that item; all others pass
    const char* measured;  // what has to be among the item's values
} expectations[] = {
    {"healthy", "network", "passed", R"({"cards":[{"card":1,"link":true,"duplex":"full","speedMbit":1000},
        {"card":2,"link":true,"duplex":"full","speedMbit":1000}]})"},
    {"healthy", "alarm", "passed", R"({"inputs":16,"outputs":4,"checksPassed":5,"checksFailed":0})"},
    {"healthy", "usb", "passed", R"({"found":3,"expected":3,"usb3":true,
        "disks":[{"device":"/dev/msa1","freeMiB":7792},{"device":"/dev/msb1","freeMiB":3884}]})"},
    {"healthy", "cpld", "passed", R"({"pcb":"QM-0x8302","设备类型":"NVR","CPLD Date":"14年5月23日."})"},
    {"healthy", "clock", "passed", R"({"pairs":[
        {"clock":"2009-04-03 08:00:16","system":"2009-04-03 08:00:16","differenceSeconds":0},
        {"clock":"2009-04-03 08:00:17","system":"2009-04-03 08:00:17","differenceSeconds":0},
        {"clock":"2009-04-03 08:00:18","system":"2009-04-03 08:00:18","differenceSeconds":0}]})"},
    {"board-4-alarms", "alarm", "passed", R"({"checksPassed":2,"checksFailed":0})"},
    {"board-no-alarm-outputs", "alarm", "skipped", "{}"},
    {"board-no-external-drive", "sata", "passed", R"({"expected":4,"found":4,"missing":["/dev/esda"]})"},
    {"board-poe", "network", "passed",
     R"({"cards":[{"card":1,"link":true,"duplex":"full","speedMbit":1000},{"card":2,"poe":true}]})"},
    {"faulty-alarm", "alarm", "failed", R"({"checksPassed":1,"checksFailed":4})"},
    {"faulty-alarm-dead-input", "alarm", "failed", R"({"checksPassed":4,"checksFailed":1,
        "mismatches":["报警输出为 4, 报警输入为 4440 ，报警输入应为 4444"]})"},
    {"faulty-alarm-swapped", "alarm", "failed", R"({"checksPassed":3,"checksFailed":2})"},
    {"faulty-alarm-unreadable", "alarm", "failed", R"({"checksPassed":1,"checksFailed":4})"},
    {"faulty-alarm-unwired", "alarm", "failed", R"({"checksPassed":1,"checksFailed":4})"},
    {"faulty-clock-behind", "clock", "failed", R"({"pairs":[
        {"clock":"2009-04-03 08:00:13","system":"2009-04-03 08:00:16","differenceSeconds":-3},
        {"clock":"2009-04-03 08:00:15","system":"2009-04-03 08:00:18","differenceSeconds":-3},
        {"clock":"2009-04-03 08:00:16","system":"2009-04-03 08:00:19","differenceSeconds":-3}]})"},
    {"faulty-clock-drift", "clock", "failed", "{}"},
    {"faulty-clock-missing", "clock", "failed", "{}"},
    {"faulty-clock-unreadable", "clock", "failed", "{}"},
    {"faulty-drive-missing", "sata", "failed", R"({"expected":4,"found":4,"missing":["/dev/sdc"]})"},
    {"faulty-drive-silent", "sata", "failed", R"({"missing":["/dev/sdb"]})"},
    {"faulty-drive-unsized", "sata", "failed", R"({"expected":4,"found":3,"drives":[
        {"device":"/dev/sda","serial":"VB-40A1170231","model":"VB-DISK-1000","firmware":"VB10.001"},
        {"device":"/dev/sdb","serial":"VB-40A1170232","model":"VB-DISK-1000","firmware":"VB10.001","capacityGiB":931},
        {"device":"/dev/sdc","serial":"VB-40A1170233","model":"VB-DISK-1000","firmware":"VB10.001","capacityGiB":931},
        {"device":"/dev/sdd","serial":"VB-40A1170234","model":"VB-DISK-1000","firmware":"VB10.001"},
        {"device":"/dev/esda","serial":"VB50B017","model":"VB-DISK-500","firmware":"VB38","capacityGiB":465}]})"},
    {"faulty-network-100m", "network", "failed",
     R"({"cards":[{"card":1,"link":true,"duplex":"half","speedMbit":100},
        {"card":2,"link":true,"duplex":"full","speedMbit":1000}]})"},
    {"faulty-network-down", "network", "failed",
     R"({"cards":[{"card":1,"link":true,"duplex":"full","speedMbit":1000},{"card":2,"link":false}]})"},
    {"faulty-network-missing", "network", "failed",
     R"({"cards":[{"card":1,"link":true,"duplex":"full","speedMbit":1000},
        {"card":2,"error":"ETHTOOL_GLINK failed:"}]})"},
    {"faulty-network-settings", "network", "failed",
     R"({"cards":[{"card":1,"link":true},{"card":2,"link":true,"duplex":"full","speedMbit":1000}]})"},
    {"faulty-rs485-disconnected", "rs485", "failed", R"({"trialsPassed":0,"trialsFailed":3})"},
    {"faulty-rs485-lead-missing", "rs485", "failed", R"({"trialsPassed":0,"trialsFailed":3})"},
    {"faulty-rs485-missing", "rs485", "failed", "{}"},
    {"faulty-rs485-wrong-byte", "rs485", "failed", R"({"trialsPassed":2,"trialsFailed":1})"},
    {"faulty-rs485-zeros", "rs485", "failed", R"({"trialsPassed":2,"trialsFailed":1})"},
    {"faulty-usb-empty", "usb", "failed", R"({"found":0,"expected":3})"},
    {"faulty-usb-missing", "usb", "failed", R"({"found":2,"expected":3,"usb3":false})"},
    {"faulty-usb-unmountable", "usb", "passed", R"({"found":3,
        "disks":[{"device":"/dev/msa1","freeMiB":7792},{"device":"/dev/msb1","freeMiB":4}]})"},
    {"faulty-usb-unreadable", "usb", "failed", R"({"found":2,"unreadableDisks":1})"},
};

class StationScenarios : public StationBench {
  protected:
    pid_t startScenario(std::size_t index) const {
        return start({VBOARD, expectations[index].scenario, "--station", folder(index) / "results"});
    }
    fs::path folder(std::size_t index) const { return bench / std::to_string(index); }

    // The bytes of the pipe are those that the same board gives to a supervisor that is never late.
    void expectNothingLost(const Json& record, const fs::path& attemptFolder, const std::string& scenario) {
        const vboard::Run board = boardRun(scenario);
        const std::string bytes = std::accumulate(board.writes.begin(), board.writes.end(), std::string());
        EXPECT_EQ(record["lostLines"], 0);
        EXPECT_EQ(record["stream"]["records"], board.writes.size());
        EXPECT_EQ(station::readFile(attemptFolder / "stream.raw"), bytes);
    }

    void expectRecord(std::size_t index, int status) {
        const auto& [scenario, item, outcome, measured] = expectations[index];
        SCOPED_TRACE(std::string(scenario) + ", " + item);
        const bool failed = std::string(outcome) == "failed";
        const fs::path attemptFolder = folder(index) / "results" / scenario / "0001";
        const Json kept = Json::parse(station::readFile(attemptFolder / "record.json"));
        EXPECT_EQ(status, failed ? 1 : 0);
        EXPECT_EQ(kept["outcome"], failed ? "failed" : "passed");
        EXPECT_EQ(kept["board"]["macs"], Json({"00:1a:2b:3c:4d:5e", "00:1a:2b:3c:4d:5f"}));
        for (const Json& one : kept["items"]) {
            EXPECT_EQ(one["outcome"], one["name"] == item ? outcome : "passed") << one;
            Json values = one["measured"];
            values.merge_patch(Json::parse(one["name"] == item ? measured : "{}"));
            EXPECT_EQ(values, one["measured"]);
        }
        const std::string counts = std::string("tests=\"8\" failures=\"") + (failed ? "1" : "0") +
                                   "\" errors=\"0\" skipped=\"" +
                                   (std::string(outcome) == "skipped" ? "1" : "0") + "\"";
        EXPECT_THAT(station::readFile(attemptFolder / "junit.xml"), HasSubstr(counts));
        expectNothingLost(kept, attemptFolder, scenario);
    }
};

TEST_F(StationScenarios, everyNetworkedBoardIsExpected) {
    for (const auto& [name, shows] : vboard::listScenarios()) {
        const bool expected =
            std::any_of(std::begin(expectations), std::end(expectations),
                        [&, &scenario = name](const auto& known) { return known.scenario == scenario; });
        EXPECT_EQ(vboard::VirtualBoard(name).arguments.front() == "netR8test", expected) << name;
    }
}

// Two at a time: each station shares the machine with a tool, two boards and another station.
TEST_F(StationScenarios, giveTheirOutcomeOnALoadedMachine) {
    std::string schemaCheck = "/usr/bin/python3 -W ignore -m jsonschema";
    pid_t station = startScenario(0);
    for (std::size_t i = 0; i < std::size(expectations); ++i) {
        const pid_t next = i + 1 < std::size(expectations) ? startScenario(i + 1) : -1;
        expectRecord(i, statusOf(station));
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
    const pid_t station =
        start({STATION,   "run",    "--unit", "7",       "--clock", "auto", "--results", bench / "results",
               "--fifo",  fifo,     "--",     "/bin/sh", "-c",      script, "sh",        VBOARD,
               "healthy", "--fifo", fifo,     "--raw",   "--",      "r8",   "netR8test"});
    EXPECT_EQ(statusOf(station), 0) << output();
    expectNothingLost(record(1), attempt(1), "healthy");
}

}  // namespace
