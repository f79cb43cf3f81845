#include "host/toml_section.h"

#define TOML_EXCEPTIONS 0
#include <toml++/toml.h>

#include <algorithm>
#include <optional>
#include <sstream>

namespace host {

namespace {

toml::table parsed(const std::string& text, const std::string& file, const char* hint) {
    toml::parse_result result = toml::parse(text, file);
    if (!result) {
        throw TomlError(file + ":" + std::to_string(result.error().source().begin.line) + ": " +
                        std::string(result.error().description()) + hint);
    }
    return std::move(result).table();
}

}  // namespace

// The parser's own look at characters beyond ASCII ends in undefined behaviour for some of them where no text
// and no comment is. So it first sees each of their bytes as a character that only those may hold.
toml::table parseToml(const std::string& text, const std::string& file) {
    const auto isBeyondAscii = [](char character) { return static_cast<unsigned char>(character) > 0x7F; };
    std::string ascii = text;
    std::replace_if(ascii.begin(), ascii.end(), isBeyondAscii, '!');
    (void)parsed(ascii, file, ascii == text ? "" : " ('!' stands for characters beyond ASCII as well)");
    return parsed(text, file, "");
}

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
    throw TomlError(file_ + ":" + std::to_string(line) + ": '" + (name_.empty() ? "" : name_ + ".") + key +
                    "' " + why);
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

void Section::scalar(const std::string& key,
                     std::optional<std::variant<std::int64_t, bool, std::string>>& target) {
    const toml::node* node = take(key);
    if (node == nullptr) {
        return;
    }
    if (node->is_integer()) {
        target = **node->as_integer();
    } else if (node->is_boolean()) {
        target = **node->as_boolean();
    } else if (node->is_string()) {
        target = **node->as_string();
    } else if (node->is_date()) {
        std::ostringstream date;
        date << **node->as_date();
        target = date.str();
    } else {
        fail(key, "is a whole number, true or false, a text or a date");
    }
}

bool Section::isTable(const std::string& key) const {
    const toml::node* node = table_.get(key);
    return node != nullptr && node->is_table();
}

void Section::seconds(const std::string& key, std::chrono::nanoseconds& target) {
    if (const toml::node* node = take(key)) {
        const std::optional<double> value = node->value<double>();
        constexpr double longest = 1e9;
        if (!value || !(*value >= -longest && *value <= longest)) {
            fail(key, "is a number of seconds");
        }
        target = std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(*value));
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

}  // namespace host
