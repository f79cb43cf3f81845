#include "vboard/scenario/scenario.h"

#define TOML_EXCEPTIONS 0
#include <toml++/toml.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

#include "host/own_files.h"
#include "vboard/board.h"

namespace vboard {

namespace {

constexpr int mostBases = 8;  // a scenario that is its own base must not go on for ever

std::string contentOf(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream || std::filesystem::is_directory(file)) {
        throw ScenarioError(file + ": can not open this scenario (--list names those there are)");
    }
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

bool isFile(const std::string& nameOrFile) {
    return nameOrFile.find('/') != std::string::npos || nameOrFile.ends_with(".toml");
}

std::string fileOf(const std::string& nameOrFile) {
    return isFile(nameOrFile) ? nameOrFile : (scenarioFolder() / (nameOrFile + ".toml")).string();
}

void apply(VirtualBoard& board, const std::string& text, const std::string& file, int depth) {
    const toml::table table = host::parseToml(text, file);
    Section section(table, file, "");
    std::string base;
    section.text("base", base);
    if (!base.empty()) {
        if (depth == mostBases) {
            section.fail("base", "leads round in a circle");
        }
        const std::string baseFile =
            isFile(base) ? (std::filesystem::path(file).parent_path() / base).string() : fileOf(base);
        apply(board, contentOf(baseFile), baseFile, depth + 1);
    }
    board.configure(section);
    section.finish();
}

// One scenario that is being written must not hide the others.
std::string whatItShows(const std::string& file) {
    try {
        return host::parseToml(contentOf(file), file)["shows"].value_or(std::string());
    } catch (const ScenarioError& error) {
        return error.what();
    }
}

}  // namespace

std::filesystem::path scenarioFolder() {
    const char* folder = std::getenv("VBOARD_SCENARIOS");
    return folder != nullptr ? folder : host::ownFile(VBOARD_WAY_TO_SCENARIOS);
}

std::vector<std::pair<std::string, std::string>> listScenarios() {
    std::map<std::string, std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(scenarioFolder())) {
        if (entry.path().extension() == ".toml") {
            found[entry.path().stem().string()] = whatItShows(entry.path().string());
        }
    }
    return {found.begin(), found.end()};
}

VirtualBoard::VirtualBoard(const std::string& scenario) {
    loadScenario(*this, scenario);
}

void loadScenario(VirtualBoard& board, const std::string& nameOrFile) {
    const std::string file = fileOf(nameOrFile);
    apply(board, contentOf(file), file, 0);
}

void loadScenarioText(VirtualBoard& board, const std::string& text, const std::string& file) {
    apply(board, text, file, 0);
}

}  // namespace vboard
