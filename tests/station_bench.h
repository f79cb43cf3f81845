#pragma once

// A bench for the station's tests: r8-station as a real process, with a folder of its own, and record streams
// as a board sends them.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <iconv.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "host/descriptor.h"
#include "station/keep/files.h"
#include "station/keep/json.h"
#include "vboard/board.h"
#include "vboard/scenario/scenario.h"

namespace station_test {

using station::Json;
namespace fs = std::filesystem;

// Of this build, side by side.
inline const fs::path programs = fs::read_symlink("/proc/self/exe").parent_path();
inline const std::string stationProgram = programs / "r8-station";
inline const std::string vboardProgram = programs / "vboard";
inline const std::string fakeTool = programs / "station_fake_tool";
inline const std::string diskRecorder = programs.parent_path() / "lib/libstation_disk_recorder.so";

inline std::string gbk(std::string utf8) {
    std::string bytes(utf8.size() + 1, '\0');
    const iconv_t converter = iconv_open("GBK", "UTF-8");
    char* in = utf8.data();
    char* out = bytes.data();
    std::size_t inLeft = utf8.size();
    std::size_t outLeft = bytes.size();
    const std::size_t result = iconv(converter, &in, &inLeft, &out, &outLeft);
    (void)iconv_close(converter);
    if (result == static_cast<std::size_t>(-1)) {
        throw std::runtime_error("no GBK for " + utf8);
    }
    bytes.resize(bytes.size() - outLeft);
    return bytes;
}

inline std::string header(std::uint32_t reserved, std::uint32_t length) {
    std::string bytes;
    for (const std::uint32_t word : {reserved, length}) {
        for (int shift = 0; shift < 32; shift += 8) {
            bytes += static_cast<char>(word >> shift & 0xFF);
        }
    }
    return bytes;
}

inline std::string stream(const std::vector<std::string>& texts) {
    std::string bytes;
    for (const std::string& text : texts) {
        bytes += header(0, static_cast<std::uint32_t>(gbk(text).size())) + gbk(text);
    }
    return bytes;
}

// What the tool writes on that board when another supervisor than the station reads it.
inline vboard::Run boardRun(const std::string& scenario) {
    return vboard::VirtualBoard(scenario).run({"netR8test"});
}

inline const std::vector<std::string>& healthyTexts() {
    static const std::vector<std::string> texts = boardRun("healthy").records();
    return texts;
}

// How a text begins. The announcement of a step begins with "步:" and its title, whatever its number and
// whether the title follows on the same line, on the next or in the next text.
inline std::string beginOf(const std::vector<std::string>& texts, std::size_t index) {
    const std::size_t colon = texts[index].find("步:");
    if (!texts[index].starts_with("第") || colon == std::string::npos) {
        return texts[index];
    }
    const std::string title = texts[index].substr(colon + std::strlen("步:"));
    return "步:" + (title.empty() ? texts.at(index + 1) : title.substr(title[0] == '\n' ? 1 : 0));
}

// What another board says from the first text that begins with from up to the next that begins with until;
// instead of that one text where until is empty.
struct Change {
    std::string from, until = {}, instead = {};
};

inline std::vector<std::string> changedTexts(const Change& change,
                                             std::vector<std::string> texts = healthyTexts()) {
    if (change.from.empty()) {
        return texts;
    }
    const auto find = [&](std::size_t index, const std::string& begin) {
        while (!beginOf(texts, index).starts_with(begin)) {
            if (++index == texts.size()) {
                throw std::runtime_error("no text from " + change.from + " until " + change.until);
            }
        }
        return texts.begin() + static_cast<std::ptrdiff_t>(index);
    };
    const auto first = find(0, change.from);
    const auto last = find(static_cast<std::size_t>(first - texts.begin()) + 1, change.until);
    texts.insert(texts.erase(first, last), change.instead);
    return texts;
}

class StationBench : public testing::Test {
  protected:
    StationBench() {
        std::string pattern = testing::TempDir() + "station.XXXXXX";
        bench = mkdtemp(pattern.data());
    }
    ~StationBench() override { fs::remove_all(bench); }

    // Starts a program on the bench; what it prints goes to the file "output".
    pid_t start(std::vector<std::string> words, const std::string& input = "/dev/null") const {
        const std::vector<char*> pointers = pointersTo(words);
        const std::string output = bench / "output";
        const pid_t child = fork();
        if (child == 0) {
            (void)dup2(open(input.c_str(), O_RDONLY), 0);
            (void)dup2(open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), 1);
            (void)dup2(1, 2);
            _exit(execv(pointers[0], pointers.data()));
        }
        return child;
    }

    // The words as exec(3) wants them.
    static std::vector<char*> pointersTo(std::vector<std::string>& words) {
        std::vector<char*> pointers;
        for (std::string& word : words) {
            pointers.push_back(word.data());
        }
        pointers.push_back(nullptr);
        return pointers;
    }

    // As a shell tells it.
    static int statusOf(pid_t child) {
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    std::string file(const std::string& name, const std::string& bytes) const {
        std::ofstream(bench / name, std::ios::binary) << bytes;
        return bench / name;
    }

    fs::path attempt(int number, const std::string& unit = "7") const {
        const std::string digits = std::to_string(number);
        return bench / "results" / unit / (std::string(4 - digits.size(), '0') + digits);
    }
    Json record(int number, const std::string& unit = "7") const {
        return Json::parse(station::readFile(attempt(number, unit) / "record.json"));
    }
    std::string output() const { return station::readFile(bench / "output"); }

    fs::path bench;
};

}  // namespace station_test
