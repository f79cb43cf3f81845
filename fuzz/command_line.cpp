// Whatever stands on the command line: accepted is exactly -o or -O with a number whose first one or two
// characters are digits of a test that there is. The input is the arguments, each ended by a NUL.

#include "r8/driver/command_line.h"

#include "fuzz/input.h"
#include "r8/driver/board_tests.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> texts = {"r8", ""};
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == 0 && texts.size() < 4) {
            texts.emplace_back();
        } else if (data[i] != 0) {
            texts.back() += static_cast<char>(data[i]);
        }
    }
    if (texts.size() < 3) {
        return 0;
    }
    std::vector<const char*> arguments;
    for (const std::string& text : texts) {
        arguments.push_back(text.c_str());
    }
    arguments.push_back(nullptr);

    const std::string first = texts[2].substr(0, 2);
    bool isNumber = !first.empty();
    for (const char character : first) {
        isNumber = isNumber && character >= '0' && character <= '9';
    }
    const int number = isNumber ? std::stoi(first) : 0;
    const bool isAccepted = (texts[1] == "-o" || texts[1] == "-O") && number >= 1 && number <= boardTestCount;

    SingleTest test = {};
    MUST(parseSingleTest(static_cast<int>(texts.size()), arguments.data(), &test) == isAccepted);
    MUST(!isAccepted || test.number == number);
    MUST(!isAccepted || texts.size() == 4 || test.count == 1);
    return 0;
}
