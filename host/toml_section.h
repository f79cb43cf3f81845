#pragma once

// A table of a TOML file that people write, read strictly: a wrong value or a key that nobody asked for is an
// error with file, line and key.

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace toml {
inline namespace v3 {
class node;
class table;
}  // namespace v3
}  // namespace toml

namespace host {

// A file that can't be used; the text names file, line and key.
struct TomlError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The table of a whole file. Throws TomlError where the text is no TOML.
toml::table parseToml(const std::string& text, const std::string& file);

// One table of it, which must outlive the section. Each getter leaves its target alone when the key is not
// there and refuses a value of the wrong kind; finish() refuses keys that nobody asked for.
class Section {
  public:
    Section(const toml::table& table, std::string file, std::string name);

    bool has(const std::string& key) const;
    void flag(const std::string& key, bool& target);
    void text(const std::string& key, std::string& target);
    void texts(const std::string& key, std::vector<std::string>& target);
    // A whole number, a flag, a text, or a date, which becomes a text such as "2014-05-23".
    void scalar(const std::string& key, std::optional<std::variant<std::int64_t, bool, std::string>>& target);
    bool isTable(const std::string& key) const;
    void seconds(const std::string& key,
                 std::chrono::nanoseconds& target);  // a number of seconds, may be fractional
    void bytes(const std::string& key, std::vector<std::uint8_t>& target);  // "B5 01 07", hexadecimal

    template <typename Number>
    void number(const std::string& key, Number& target) {
        target = static_cast<Number>(integer(key, static_cast<std::int64_t>(target),
                                             std::numeric_limits<Number>::min(),
                                             std::numeric_limits<Number>::max()));
    }

    template <typename Number>
    void numbers(const std::string& key, std::vector<Number>& target) {
        if (!has(key)) {
            return;
        }
        target.clear();
        for (const std::int64_t value :
             integers(key, std::numeric_limits<Number>::min(), std::numeric_limits<Number>::max())) {
            target.push_back(static_cast<Number>(value));
        }
    }

    template <typename Value>
    void choice(const std::string& key, Value& target,
                std::initializer_list<std::pair<const char*, Value>> choices) {
        std::string chosen;
        std::string known;
        text(key, chosen);
        for (const auto& [name, value] : choices) {
            if (chosen == name) {
                target = value;
                return;
            }
            known += (known.empty() ? "" : ", ") + std::string(name);
        }
        if (has(key)) {
            fail(key, "is one of " + known);
        }
    }

    // Reads the tables of an array of tables, or the one table of that name; none when the key is not there.
    // A table may hold no key that read did not ask for.
    template <typename Read>
    void each(const std::string& key, Read read) {
        for (Section& entry : sections(key)) {
            read(entry);
            entry.finish();
        }
    }

    [[noreturn]] void fail(const std::string& key, const std::string& why) const;
    void finish() const;

  private:
    std::vector<Section> sections(const std::string& key);
    const toml::node* take(const std::string& key);
    std::int64_t integer(const std::string& key, std::int64_t otherwise, std::int64_t least,
                         std::uint64_t most);
    std::vector<std::int64_t> integers(const std::string& key, std::int64_t least, std::uint64_t most);
    std::int64_t checkedInteger(const std::string& key, const toml::node& node, std::int64_t least,
                                std::uint64_t most) const;

    const toml::table& table_;
    std::string file_;
    std::string name_;
    std::set<std::string> taken_;
};

}  // namespace host
