#pragma once

// The program as a station engineer uses it: real processes, a real pipe, a tool that does as told.

#include <sys/prctl.h>

#include "tests/station_bench.h"

namespace station_test {

// What a terminal shows up to that text.
inline std::string readUntil(int terminal, const std::string& text) {
    std::string shown;
    char byte;
    while (shown.find(text) == std::string::npos && read(terminal, &byte, 1) == 1) {
        shown += byte;
    }
    return shown;
}

class StationRun : public StationBench {
  protected:
    StationRun() { EXPECT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0); }

    pid_t startStation(std::vector<std::string> words, const std::string& input = "/dev/null") const {
        words.insert(words.begin(), stationProgram);
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
        words.insert(words.end(), {fakeTool, "netR8test", bench / fifo, file(fifo + ".records", records)});
        words.insert(words.end(), {file(fifo + ".console", console), end});
        return words;
    }

    // Returns as soon as that line is kept.
    void waitForLine(int number, const std::string& text) const {
        for (int i = 0; i < 20000; ++i) {
            const fs::path lines = attempt(number) / "lines.txt";
            if (fs::exists(lines) && station::readFile(lines).find(text) != std::string::npos) {
                return;
            }
            usleep(1000);
        }
        FAIL() << text << " does not come";
    }

    // Returns as soon as the attempt is there.
    void waitForAttempt(int number) const { waitForLine(number, ""); }

    static Json item(const Json& record, const std::string& name) {
        for (const Json& item : record["items"]) {
            if (item["name"] == name) {
                return item;
            }
        }
        return {};
    }

    const std::string healthy = stream(healthyTexts());
};

}  // namespace station_test
