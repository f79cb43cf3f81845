#pragma once

// What several test files say about a run.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "vboard/board.h"

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
