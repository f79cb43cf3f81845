#include "vboard/scenario.h"

#define TOML_EXCEPTIONS 0
#include <toml++/toml.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>

#include "vboard/board.h"
#include "vboard/kernel/trace.h"

namespace vboard {

namespace {

constexpr int mostBases = 8;  // a scenario that is its own base must not go on for ever

// The parser's own look at characters beyond ASCII ends in undefined behaviour for some of them where only
// keys and values may stand, so they go no further than texts (on one line) and comments.
bool keepsToAscii(std::string_view line) {
    constexpr std::string_view beforeText = " \t=[,{";
    char quote = '\0';
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (quote == '"' && line[i] == '\\') {
            ++i;
        } else if (quote != '\0') {
            quote = line[i] == quote ? '\0' : quote;
        } else if ((line[i] == '"' || line[i] == '\'') &&
                   (i == 0 || beforeText.find(line[i - 1]) != beforeText.npos)) {
            quote = line[i];
        } else if (line[i] == '#') {
            return true;
        } else if (static_cast<unsigned char>(line[i]) > 0x7F) {
            return false;
        }
    }
    return true;
}

void checkCharacters(const std::string& text, const std::string& file) {
    const auto isAscii = [](char character) { return static_cast<unsigned char>(character) <= 0x7F; };
    const bool hasLongTexts =
        text.find("\"\"\"") != std::string::npos || text.find("'''") != std::string::npos;
    std::istringstream lines(text);
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        if (!keepsToAscii(line) || (hasLongTexts && !std::all_of(line.begin(), line.end(), isAscii))) {
            throw ScenarioError(file + ":" + std::to_string(number) +
                                ": characters beyond ASCII stand in one-line texts and in comments only");
        }
    }
}

toml::table parse(const std::string& text, const std::string& file) {
    checkCharacters(text, file);
    toml::parse_result result = toml::parse(text, file);
    if (!result) {
        throw ScenarioError(file + ":" + std::to_string(result.error().source().begin.line) + ": " +
                            std::string(result.error().description()));
    }
    return std::move(result).table();
}

std::string contentOf(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
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
    const toml::table table = parse(text, file);
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

}  // namespace

Section::Section(const toml::table& table, std::string file, std::string name)
    : table_(table), file_(std::move(file)), name_(std::move(name)) {}

bool Section::has(const std::string& key) const {
    return table_.contains(key);
}

const toml::node* Section::take(const std::string& key) {
    taken_.insert(key);
    return table_.get(key);
}

void Section::fail(const std::string& key, const std::string& why) const {
    const toml::node* node = table_.get(key);
    const auto line = node != nullptr ? node->source().begin.line : table_.source().begin.line;
    throw ScenarioError(file_ + ":" + std::to_string(line) + ": '" + (name_.empty() ? "" : name_ + ".") +
                        key + "' " + why);
}

void Section::finish() const {
    for (const auto& [key, node] : table_) {
        const std::string name(key.str());
        if (taken_.count(name) == 0) {
            fail(name, "is not known here");
        }
    }
}

void Section::flag(const std::string& key, bool& target) {
    if (const toml::node* node = take(key)) {
        if (!node->is_boolean()) {
            fail(key, "is true or false");
        }
        target = **node->as_boolean();
    }
}

void Section::text(const std::string& key, std::string& target) {
    if (const toml::node* node = take(key)) {
        if (!node->is_string()) {
            fail(key, "is a text");
        }
        target = **node->as_string();
    }
}

void Section::texts(const std::string& key, std::vector<std::string>& target) {
    const toml::node* node = take(key);
    if (node == nullptr) {
        return;
    }
    if (!node->is_array()) {
        fail(key, "is a list of texts");
    }
    target.clear();
    for (const toml::node& entry : *node->as_array()) {
        if (!entry.is_string()) {
            fail(key, "is a list of texts");
        }
        target.push_back(**entry.as_string());
    }
}

void Section::seconds(const std::string& key, Time& target) {
    if (const toml::node* node = take(key)) {
        const std::optional<double> value = node->value<double>();
        constexpr double longest = 1e9;
        if (!value || !(*value >= -longest && *value <= longest)) {
            fail(key, "is a number of seconds");
        }
        target = std::chrono::duration_cast<Time>(std::chrono::duration<double>(*value));
    }
}

void Section::bytes(const std::string& key, std::vector<std::uint8_t>& target) {
    std::string text;
    this->text(key, text);
    if (!has(key)) {
        return;
    }
    target.clear();
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        if (word.size() != 2 || word.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
            fail(key, "is a row of bytes like \"B5 01 07\"");
        }
        target.push_back(static_cast<std::uint8_t>(std::stoul(word, nullptr, 16)));
    }
}

void Section::error(const std::string& key, int& target) {
    std::string name;
    text(key, name);
    if (has(key) && (target = errorNumber(name)) == 0) {
        fail(key, "is the name of an errno, like \"EIO\"");
    }
}

std::int64_t Section::checkedInteger(const std::string& key, const toml::node& node, std::int64_t least,
                                     std::uint64_t most) const {
    if (!node.is_integer()) {
        fail(key, "is a whole number");
    }
    const std::int64_t value = **node.as_integer();
    if (value < least || (value > 0 && static_cast<std::uint64_t>(value) > most)) {
        fail(key, "is a number from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return value;
}

std::int64_t Section::integer(const std::string& key, std::int64_t otherwise, std::int64_t least,
                              std::uint64_t most) {
    const toml::node* node = take(key);
    return node == nullptr ? otherwise : checkedInteger(key, *node, least, most);
}

std::vector<std::int64_t> Section::integers(const std::string& key, std::int64_t least, std::uint64_t most) {
    const toml::node* node = take(key);
    if (!node->is_array()) {
        fail(key, "is a list of whole numbers");
    }
    std::vector<std::int64_t> values;
    for (const toml::node& entry : *node->as_array()) {
        values.push_back(checkedInteger(key, entry, least, most));
    }
    return values;
}

std::vector<Section> Section::sections(const std::string& key) {
    std::vector<Section> result;
    const toml::node* node = take(key);
    if (node == nullptr) {
        return result;
    }
    const std::string name = (name_.empty() ? "" : name_ + ".") + key;
    if (node->is_table()) {
        result.emplace_back(*node->as_table(), file_, name);
        return result;
    }
    if (!node->is_array()) {
        fail(key, "is a table or a list of tables");
    }
    for (const toml::node& entry : *node->as_array()) {
        if (!entry.is_table()) {
            fail(key, "is a table or a list of tables");
        }
        result.emplace_back(*entry.as_table(), file_, name);
    }
    return result;
}

std::filesystem::path scenarioFolder() {
    const char* folder = std::getenv("VBOARD_SCENARIOS");
    return folder != nullptr ? folder : VBOARD_SCENARIO_FOLDER;
}

std::vector<std::pair<std::string, std::string>> listScenarios() {
    std::map<std::string, std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(scenarioFolder())) {
        if (entry.path().extension() == ".toml") {
            const std::string file = entry.path().string();
            found[entry.path().stem().string()] =
                parse(contentOf(file), file)["shows"].value_or(std::string());
        }
    }
    return {found.begin(), found.end()};
}

void loadScenario(VirtualBoard& board, const std::string& nameOrFile) {
    const std::string file = fileOf(nameOrFile);
    apply(board, contentOf(file), file, 0);
}

void loadScenarioText(VirtualBoard& board, const std::string& text, const std::string& file) {
    apply(board, text, file, 0);
}

}  // namespace vboard
