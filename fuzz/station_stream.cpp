// Whatever a tool writes into the report pipe: the records don't depend on how the bytes arrive, and a run
// whose stream is torn or has no end marker is never called passed. The input's first byte places the split.

#include <algorithm>

#include "fuzz/input.h"
#include "station/interpret/run_interpreter.h"
#include "station/interpret/text.h"
#include "station/link/record_framer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::string_view bytes(reinterpret_cast<const char*>(data + 1), size - 1);
    const std::size_t split = std::min<std::size_t>(data[0], bytes.size());

    std::vector<std::string> texts;
    station::RecordFramer framer;
    station::RunInterpreter interpreter;
    framer.feed(bytes, [&](std::string_view text) {
        texts.emplace_back(text);
        interpreter.record(0, station::utf8FromGbk(text));
    });
    std::vector<std::string> again;
    station::RecordFramer halves;
    const auto collect = [&](std::string_view text) { again.emplace_back(text); };
    halves.feed(bytes.substr(0, split), collect);
    halves.feed(bytes.substr(split), collect);
    MUST(texts == again && framer.torn() == halves.torn() && framer.pending.size() <= 1031);

    interpreter.finish(1, {}, framer.torn());
    const bool isWhole = !framer.torn() && std::count(texts.begin(), texts.end(), "R8TESTEND") == 1;
    MUST(isWhole || interpreter.run.outcome == station::Outcome::incomplete);
    return 0;
}
