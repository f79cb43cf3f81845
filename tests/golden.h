#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

// Whether the full run fails on the board of that scenario: its name says so. A disk that does not mount is
// there all the same, and only measured on the host's file system.
inline bool isFaulty(const std::string& scenario) {
    return scenario.rfind("faulty-", 0) == 0 && scenario != "faulty-usb-unmountable";
}

// The text is what the file of that name under tests/golden holds; R8_WRITE_GOLDEN in the environment writes
// it first.
inline void expectGolden(const std::string& name, const std::string& text) {
    const std::filesystem::path path = std::filesystem::path(GOLDEN_FOLDER) / (name + ".txt");
    if (std::getenv("R8_WRITE_GOLDEN") != nullptr) {
        std::ofstream(path, std::ios::binary) << text;
    }
    std::ifstream file(path, std::ios::binary);
    EXPECT_EQ(text, std::string(std::istreambuf_iterator<char>(file), {})) << path;
}
