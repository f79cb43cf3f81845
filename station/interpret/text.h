#pragma once

// From the bytes that a board prints to text that is safe to show and to store.

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace station {

// GBK to UTF-8. What is no GBK (a character cut in the middle included) becomes U+FFFD, and so do control
// characters other than tab and line break: a board must not be able to move the operator's cursor. Carriage
// returns are dropped.
std::string utf8FromGbk(std::string_view bytes);

// For streams that mix the C library's own messages with the tool's: UTF-8 stays, all else is read as GBK.
std::string utf8FromEither(std::string_view bytes);

// Columns on a terminal: Chinese characters take two.
std::size_t screenWidth(std::string_view utf8);

// The text cut to at most that many columns, never inside a character.
std::string clipToWidth(std::string_view utf8, std::size_t columns);

// The text filled up with blanks to that many columns.
std::string padToWidth(std::string_view utf8, std::size_t columns);

// Calls onLine for each line of the text; the rest behind the last line break, if any, comes last.
template <typename OnLine>
void forEachLine(std::string_view text, OnLine onLine) {
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        onLine(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
}

// Without the blanks and tabs at both ends.
std::string_view trimmed(std::string_view text);

// Reads fixed texts and numbers off the front of a line. After the first mismatch nothing more is read.
struct LineScanner {
    std::string_view rest;
    bool matched = true;

    LineScanner& text(std::string_view expected) {
        matched = matched && rest.starts_with(expected);
        rest.remove_prefix(matched ? expected.size() : 0);
        return *this;
    }
    LineScanner& number(std::int64_t& value) {
        const char* const end = rest.data() + rest.size();
        const auto [stop, error] = std::from_chars(rest.data(), end, value);
        matched = matched && error == std::errc{};
        rest.remove_prefix(matched ? static_cast<std::size_t>(stop - rest.data()) : 0);
        return *this;
    }
    explicit operator bool() const { return matched; }
};

}  // namespace station
