#include "station/interpret/text.h"

#include "gbk/gbk.h"

namespace station {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";  // U+FFFD

std::size_t characterBytes(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const std::size_t bytes = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    return std::min(bytes, text.size());
}

// Control characters of both ranges, and the two codes that no XML document may hold.
bool isHarmful(std::string_view character) {
    const auto lead = static_cast<unsigned char>(character[0]);
    if (character.size() == 1) {
        return (lead < 0x20 && lead != '\n' && lead != '\t') || lead == 0x7F;
    }
    return (lead == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0) || character == "\xEF\xBF\xBE" ||
           character == "\xEF\xBF\xBF";
}

std::string harmless(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const std::string_view character = text.substr(0, characterBytes(text));
        text.remove_prefix(character.size());
        if (character != "\r") {
            result += isHarmful(character) ? replacement : character;
        }
    }
    return result;
}

std::size_t characterWidth(std::string_view character) {
    return static_cast<unsigned char>(character[0]) >= 0xE3 ? 2 : 1;  // from U+3000 on
}

}  // namespace

std::string utf8FromGbk(std::string_view bytes) {
    gbk::Stream stream;
    const std::string text = stream.decode(std::string(bytes));
    return harmless(text + stream.finish());
}

std::string utf8FromEither(std::string_view bytes) {
    const std::string text(bytes);
    return gbk::isUtf8(text) ? harmless(text) : utf8FromGbk(bytes);
}

std::size_t screenWidth(std::string_view utf8) {
    std::size_t width = 0;
    while (!utf8.empty()) {
        const std::string_view character = utf8.substr(0, characterBytes(utf8));
        width += characterWidth(character);
        utf8.remove_prefix(character.size());
    }
    return width;
}

std::string clipToWidth(std::string_view utf8, std::size_t columns) {
    std::string result;
    while (!utf8.empty()) {
        const std::string_view character = utf8.substr(0, characterBytes(utf8));
        if (characterWidth(character) > columns) {
            break;
        }
        columns -= characterWidth(character);
        result += character;
        utf8.remove_prefix(character.size());
    }
    return result;
}

std::string padToWidth(std::string_view utf8, std::size_t columns) {
    const std::size_t width = screenWidth(utf8);
    return std::string(utf8) + std::string(width < columns ? columns - width : 0, ' ');
}

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    return first == std::string_view::npos ? std::string_view{}
                                           : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

}  // namespace station
