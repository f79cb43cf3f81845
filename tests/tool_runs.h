#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "vboard/board.h"
#include "vboard/scenario/scenario.h"

// Runs of the tool as the tests of several rooms need them.

// A procedure of the tool with records set by hand, see module_runner.cpp.
inline vboard::Run runModule(vboard::VirtualBoard& board, const std::vector<std::string>& arguments) {
    vboard::ToolCommand command = vboard::defaultToolCommand();
    command.program = std::filesystem::canonical(command.program).replace_filename("module_runner");
    command.arguments = arguments;
    return board.run(command);
}

// The tool itself.
inline vboard::Run runTool(vboard::VirtualBoard& board, const std::vector<std::string>& arguments) {
    return board.run(arguments);
}

// No argument: the full run on the console.
inline const std::vector<std::string> fullRun;

// The texts of a list as one, so that a failure shows both as a person would read them.
inline std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) {
        all += text;
    }
    return all;
}

// "ZORIO_SET_BUZZER 01 at 2.1" for each request on a path, times rounded to milliseconds.
inline std::vector<std::string> sequence(const vboard::Run& run, const std::string& where) {
    std::vector<std::string> lines;
    for (const vboard::TraceEntry& entry : run.trace) {
        if (entry.where != where) {
            continue;
        }
        char time[32];
        (void)std::snprintf(time, sizeof time, "%.3f ", static_cast<double>(entry.at.count()) / 1e9);
        const bool isShort = !entry.data.empty() && entry.data.size() <= 4;
        lines.push_back(time + entry.request + (entry.arguments.empty() ? "" : " " + entry.arguments) +
                        (isShort ? " " + vboard::hexText(entry.data.data(), entry.data.size()) : ""));
    }
    return lines;
}

// Sets up a board from the healthy one and what a scenario text says beyond it.
inline void loadHealthyWith(vboard::VirtualBoard& board, const std::string& scenarioText) {
    vboard::loadScenarioText(board, "base = 'healthy'\n" + scenarioText, "test");
}

inline int count(const std::string& text, const std::string& part) {
    int found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
        ++found;
    }
    return found;
}

// Runs a single test with each of its requests failing once, and with all from there on failing. Every run
// ends by itself, with nothing left open; check looks at what it said.
template <typename Check>
void sweepFailures(decltype(runTool) run, const std::vector<std::string>& arguments, const Check& check) {
    vboard::VirtualBoard healthy("healthy");
    const std::string undisturbed = toText(run(healthy, arguments).trace);
    bool struck = true;
    for (unsigned nth = 1; struck; ++nth) {
        for (const bool fromThenOn : {false, true}) {
            SCOPED_TRACE("request " + std::to_string(nth) + (fromThenOn ? " and all after it" : ""));
            vboard::VirtualBoard board = vboard::VirtualBoard::healthy();
            board.settings.faults = {{"any", "", nth, fromThenOn, EIO}};
            board.settings.timeLimit = std::chrono::minutes(1);
            const vboard::Run result = run(board, arguments);
            struck = toText(result.trace) != undisturbed;
            const std::string console = result.console();
            const bool neverStarted =
                count(console, "打开hwInfo设备出错!") + count(console, "初始化看门狗失败!") != 0;
            EXPECT_EQ(result.exitStatus(), neverStarted ? 1 : 0) << result.stopReason;
            EXPECT_THAT(result.openAtEnd, testing::IsEmpty());
            EXPECT_FALSE(result.anyRefused());
            if (!neverStarted) {
                check(result, console);
            }
        }
    }
}
