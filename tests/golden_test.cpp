// Whole runs to the byte and to the request, as the files under tests/golden tell them. A change shows as a
// difference, which somebody reads before it is committed: R8_WRITE_GOLDEN=1 ./check -R Golden writes the
// files.

#include <sstream>

#include "r8/driver/board_tests.h"
#include "tests/golden.h"
#include "tests/tool_runs.h"

using vboard::Time;
using vboard::VirtualBoard;

namespace {

constexpr const char* pipePath = "/var/r8.fifo";
constexpr std::size_t recordHeaderBytes = 8;

std::string timeText(Time at) {
    char text[32];
    (void)std::snprintf(text, sizeof text, "%9.3f ", static_cast<double>(at.count()) / 1e9);
    return text;
}

// A line each, up to its line break or to the end of what was said at once.
std::string quoted(Time at, const std::string& how, const std::string& text) {
    std::string lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines += timeText(at) + how + " \"" + line + (stream.eof() ? "\"\n" : "\\n\"\n");
    }
    return lines;
}

// What the tool asked and what it said, in their order. Records are shown as their text.
class Story {
  public:
    Story(VirtualBoard& board, const std::vector<std::string>& arguments, std::size_t mostRequests) {
        board.settings.onOutput = [this](Time at, auto bytes) { hear(at, "prints", bytes); };
        board.settings.onErrors = [this](Time at, auto bytes) { hear(at, "prints as an error", bytes); };
        const vboard::Run run = board.run(arguments);
        for (const vboard::TraceEntry& entry : run.trace) {
            tellWhatWasSaid(entry.at);
            if (entry.request == "write" && entry.where == pipePath) {
                const std::string record(entry.data.begin() + recordHeaderBytes, entry.data.end());
                text += quoted(entry.at, "reports", vboard::Run::decodeGbk(record));
            } else if (mostRequests > 0) {
                constexpr std::size_t timeWidth = 13;
                text += timeText(entry.at) + entry.text().substr(timeWidth) + "\n";
                --mostRequests;
            }
        }
        tellWhatWasSaid(Time::max());
        text += "ends with status " + std::to_string(run.exitStatus()) + "\n";
    }

    std::string text;

  private:
    struct Speech {
        Time at;
        std::string how, bytes;
    };

    // The bytes of one moment may come in any pieces.
    void hear(Time at, const char* how, std::string_view bytes) {
        if (said.empty() || said.back().at != at || said.back().how != how) {
            said.push_back({at, how, ""});
        }
        said.back().bytes += bytes;
    }
    void tellWhatWasSaid(Time until) {
        for (; told < said.size() && said[told].at <= until; ++told) {
            text += quoted(said[told].at, said[told].how, vboard::Run::decodeGbk(said[told].bytes));
        }
    }

    std::vector<Speech> said;
    std::size_t told = 0;
};

}  // namespace

TEST(Golden, EveryBoardIsToldAboutInTheseWords) {
    for (const auto& [name, shows] : vboard::listScenarios()) {
        VirtualBoard board(name);
        std::string text = Story(board, board.arguments, 0).text;
        if (board.arguments.front() == "netR8test") {
            VirtualBoard again(name);
            const std::string console = Story(again, fullRun, 0).text;
            EXPECT_EQ(console.find("测试结果:  OK!") == std::string::npos, isFaulty(name)) << name;
            text += "and on the console\n" +
                    console.substr(console.rfind('\n', console.find("R8测试结果如下")) + 1);
        }
        expectGolden(name, text);
    }
}

TEST(Golden, TheHealthyBoardIsAskedThis) {
    const auto expectRequests = [](const std::string& name, const std::vector<std::string>& arguments,
                                   std::size_t mostRequests) {
        VirtualBoard board = VirtualBoard::healthy();
        expectGolden("requests-" + name, Story(board, arguments, mostRequests).text);
    };
    constexpr std::size_t all = 1000;
    expectRequests("console", fullRun, all);
    expectRequests("networked", {"netR8test"}, all);
    expectRequests("usage", {"-h"}, all);
    expectRequests("usage-long", {"--help"}, all);
    for (int number = 1; number <= boardTestCount; ++number) {
        const std::string test = std::to_string(number);
        expectRequests("test-" + test, {"-o", test}, 150);  // the loop-back goes on for long in the same way
    }
}
