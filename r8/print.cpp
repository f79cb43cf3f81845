#include "r8/print.h"

#include <errno.h>
#include <stdint.h>
#include <string.h>
#include <unistd.h>

namespace {

constexpr size_t printBytes = 512;  // the longest message, with a path in it, has half of it
constexpr int mostDigits = 20;      // of a uint64_t

// A text that grows; what has no room is dropped.
struct Text {
    char* next;
    char* const end;
};

void put(Text& text, char character) {
    if (text.next != text.end) {
        *text.next++ = character;
    }
}

void putString(Text& text, const char* string) {
    while (*string != '\0') {
        put(text, *string++);
    }
}

// What stands behind a "%".
struct Conversion {
    bool prefixed = false;  // "#"
    int width = 0;          // of a number, filled up with zeros
    bool isLong = false;    // "ll"
    char letter = '\0';
};

// Returns what follows the conversion.
const char* parse(const char* format, Conversion& conversion) {
    if (*format == '#') {
        conversion.prefixed = true;
        ++format;
    }
    while (*format >= '0' && *format <= '9') {
        conversion.width = 10 * conversion.width + *format++ - '0';
    }
    if (*format == 'l') {
        conversion.isLong = true;
        format += 2;
    }
    conversion.letter = *format;
    return format + 1;
}

void putNumber(Text& text, const Conversion& conversion, uint64_t number) {
    const bool isNegative = conversion.letter == 'd' && static_cast<int64_t>(number) < 0;
    const char* prefix = isNegative ? "-" : conversion.prefixed && number != 0 ? "0x" : "";
    const char* digits = conversion.letter == 'X' ? "0123456789ABCDEF" : "0123456789abcdef";
    const unsigned base = conversion.letter == 'd' || conversion.letter == 'u' ? 10 : 16;
    uint64_t rest = isNegative ? 0 - number : number;
    char reversed[mostDigits];
    int length = 0;
    do {
        reversed[length++] = digits[rest % base];
        rest /= base;
    } while (rest != 0);

    putString(text, prefix);
    for (int i = length + static_cast<int>(strlen(prefix)); i < conversion.width; ++i) {
        put(text, '0');
    }
    while (length > 0) {
        put(text, reversed[--length]);
    }
}

}  // namespace

size_t formatTextList(char* text, size_t size, const char* format, va_list arguments) {
    Text out = {text, text + size - 1};
    while (*format != '\0') {
        if (*format != '%') {
            put(out, *format++);
            continue;
        }
        Conversion conversion;
        format = parse(format + 1, conversion);
        if (conversion.letter == 's') {
            putString(out, va_arg(arguments, const char*));
        } else if (conversion.letter == 'c') {
            put(out, static_cast<char>(va_arg(arguments, int)));
        } else if (conversion.isLong) {
            putNumber(out, conversion, va_arg(arguments, unsigned long long));
        } else if (conversion.letter == 'd') {
            putNumber(out, conversion, static_cast<uint64_t>(va_arg(arguments, int)));
        } else {
            putNumber(out, conversion, va_arg(arguments, unsigned));
        }
    }
    *out.next = '\0';
    return static_cast<size_t>(out.next - text);
}

size_t formatText(char* text, size_t size, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const size_t length = formatTextList(text, size, format, arguments);
    va_end(arguments);
    return length;
}

ssize_t writeText(int fd, const char* text, size_t length) {
    const int error = errno;
    size_t done = 0;
    while (done < length) {
        const ssize_t written = write(fd, text + done, length - done);
        if (written > 0) {
            done += static_cast<size_t>(written);
        } else if (written == 0 || errno != EINTR) {
            break;
        }
    }
    errno = error;
    return done == length ? static_cast<ssize_t>(length) : -1;
}

ssize_t printTo(int fd, const char* format, ...) {
    char text[printBytes];
    va_list arguments;
    va_start(arguments, format);
    const size_t length = formatTextList(text, sizeof text, format, arguments);
    va_end(arguments);
    return writeText(fd, text, length);
}

ssize_t print(const char* format, ...) {
    char text[printBytes];
    va_list arguments;
    va_start(arguments, format);
    const size_t length = formatTextList(text, sizeof text, format, arguments);
    va_end(arguments);
    return writeText(STDOUT_FILENO, text, length);
}
