#include "r8/driver/command_line.h"

#include <stdlib.h>
#include <string.h>

#include "r8/driver/board_tests.h"
#include "r8/print.h"

namespace {

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

// The test number: one or two digits, what follows them is not looked at. -1 with a message when malformed.
int parseTestNumber(const char* text) {
    if (strlen(text) > 2) {
        print("请选择测试序号(1~%d)\n", boardTestCount);
    }
    if (text[0] == '\0') {
        return 0;
    }
    if (!isDigit(text[0]) || (text[1] != '\0' && !isDigit(text[1]))) {
        print("请选择测试序号(1~%d)\n", boardTestCount);
        return -1;
    }
    const int first = text[0] - '0';
    return text[1] == '\0' ? first : first * 10 + (text[1] - '0');
}

}  // namespace

bool parseSingleTest(int argc, const char* const* argv, SingleTest* test) {
    if (strcmp(argv[1], "-o") != 0 && strcmp(argv[1], "-O") != 0) {
        print("参数非法\n");
        return false;
    }
    test->number = parseTestNumber(argv[2]);
    if (test->number < 0) {
        return false;
    }
    if (test->number < 1 || test->number > boardTestCount) {
        print("请输入正确的测试序号.(1~%d)", boardTestCount);
        return false;
    }
    test->count = argc > 3 ? static_cast<unsigned>(atoi(argv[3])) : 1;
    return true;
}
