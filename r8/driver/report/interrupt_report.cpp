#include "r8/driver/report/interrupt_report.h"

#include <stddef.h>
#include <unistd.h>

namespace {

constexpr size_t textBytes = 128;
constexpr size_t maxDigits = 10;  // of a uint32_t

size_t formatNumber(char* text, uint32_t number) {
    char reversed[maxDigits];
    size_t length = 0;
    do {
        reversed[length++] = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number != 0);
    for (size_t i = 0; i < length; ++i) {
        text[i] = reversed[length - 1 - i];
    }
    return length;
}

}  // namespace

void printCounts(const char* text, uint32_t first, uint32_t second) {
    char line[textBytes];
    size_t length = 0;
    uint32_t next = first;
    while (*text != '\0' && length <= sizeof line - maxDigits) {
        if (text[0] == '%' && text[1] == 'u') {
            length += formatNumber(line + length, next);
            next = second;
            text += 2;
        } else {
            line[length++] = *text++;
        }
    }
    (void)!write(STDOUT_FILENO, line, length);  // nowhere left to report a lost console to
}
