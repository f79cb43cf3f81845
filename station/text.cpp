#include "text.h"

#include <iconv.h>

#include <system_error>

namespace station {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";  // U+FFFD

struct Converter {
    explicit Converter(const char* from) : handle(iconv_open("UTF-8", from)) {
        if (handle == reinterpret_cast<iconv_t>(-1)) {
            throw std::system_error(errno, std::generic_category(),
                                    std::string("no conversion from ") + from);
        }
    }
    ~Converter() { (void)iconv_close(handle); }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    iconv_t handle;
};

// Bytes that don't convert are replaced one by one; their number goes to *bad.
std::string convert(Converter& converter, std::string_view input, size_t* bad) {
    std::string output;
    char* in = const_cast<char*>(input.data());  // iconv's type; it only reads
    size_t inLeft = input.size();
    (void)iconv(converter.handle, nullptr, nullptr, nullptr, nullptr);
    while (inLeft > 0) {
        char buffer[4096];
        char* out = buffer;
        size_t outLeft = sizeof buffer;
        const size_t result = iconv(converter.handle, &in, &inLeft, &out, &outLeft);
        const int error = result == static_cast<size_t>(-1) ? errno : 0;
        output.append(buffer, static_cast<size_t>(out - buffer));
        if (error == EILSEQ || error == EINVAL) {
            output += replacement;
            ++*bad;
            ++in;
            --inLeft;
        }
    }
    return output;
}

size_t characterBytes(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const size_t bytes = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
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

size_t characterWidth(std::string_view character) {
    return static_cast<unsigned char>(character[0]) >= 0xE3 ? 2 : 1;  // from U+3000 on
}

}  // namespace

std::string utf8FromGbk(std::string_view gbk) {
    static Converter converter("GBK");
    size_t bad = 0;
    return harmless(convert(converter, gbk, &bad));
}

std::string utf8FromEither(std::string_view bytes) {
    static Converter converter("UTF-8");
    size_t bad = 0;
    const std::string text = convert(converter, bytes, &bad);
    return bad == 0 ? harmless(text) : utf8FromGbk(bytes);
}

size_t screenWidth(std::string_view utf8) {
    size_t width = 0;
    while (!utf8.empty()) {
        const std::string_view character = utf8.substr(0, characterBytes(utf8));
        width += characterWidth(character);
        utf8.remove_prefix(character.size());
    }
    return width;
}

std::string clipToWidth(std::string_view utf8, size_t columns) {
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

std::string padToWidth(std::string_view utf8, size_t columns) {
    const size_t width = screenWidth(utf8);
    return std::string(utf8) + std::string(width < columns ? columns - width : 0, ' ');
}

std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t");
    return first == std::string_view::npos ? std::string_view{}
                                           : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

}  // namespace station
