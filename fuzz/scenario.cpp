// Whatever stands in a scenario: it sets up a board, or it is refused with its file named; nothing else ever
// comes out. What was accepted once is accepted again on the same board.

#include "vboard/scenario/scenario.h"
#include "fuzz/input.h"
#include "vboard/board.h"

namespace {

bool load(vboard::VirtualBoard& board, const std::string& text) {
    try {
        vboard::loadScenarioText(board, text, "fuzzed.toml");
        return true;
    } catch (const vboard::ScenarioError& error) {
        MUST(std::string(error.what()).find(".toml:") != std::string::npos ||
             text.find("base") != std::string::npos);
        return false;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    vboard::VirtualBoard board;
    if (load(board, text)) {
        MUST(load(board, text));
    }
    return 0;
}
