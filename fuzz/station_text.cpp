// Whatever the tool says, on the pipe as on the console: what the station shows and stores is UTF-8 without
// control characters that move a cursor, and no text is wider than it was asked for. A line of the input goes
// to the interpreter as a record, one that begins with '>' as a line of the console.

#include <iconv.h>

#include "fuzz/input.h"
#include "station/interpret/run_interpreter.h"
#include "station/interpret/text.h"
#include "station/interpret/verdict.h"

namespace {

bool isUtf8(std::string text) {
    static const iconv_t check = iconv_open("UTF-32", "UTF-8");
    std::string wide(text.size() * 4 + 8, '\0');
    char* in = text.data();
    char* out = wide.data();
    std::size_t inLeft = text.size();
    std::size_t outLeft = wide.size();
    (void)iconv(check, nullptr, nullptr, nullptr, nullptr);
    return iconv(check, &in, &inLeft, &out, &outLeft) == 0;
}

void mustBeSafe(const std::string& text) {
    MUST(isUtf8(text));
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        MUST(byte >= 0x20 ? byte != 0x7F : byte == '\n' || byte == '\t');
    }
    for (const std::size_t columns : {0U, 1U, 7U, 40U}) {
        const std::string clipped = station::clipToWidth(text, columns);
        MUST(isUtf8(clipped) && station::screenWidth(clipped) <= columns);
        MUST(station::screenWidth(station::padToWidth(clipped, columns)) == columns);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    mustBeSafe(station::utf8FromGbk(bytes));
    const std::string text = station::utf8FromEither(bytes);
    mustBeSafe(text);

    station::RunInterpreter interpreter;
    interpreter.onLine = [](const station::Line& line) { MUST(line.text.find('\n') == std::string::npos); };
    station::forEachLine(text, [&](std::string_view line) {
        if (line.starts_with('>')) {
            interpreter.console(0, line.substr(1));
        } else {
            interpreter.record(0, std::string(line) + "\n");
        }
    });
    interpreter.finish(1, {}, false);
    MUST(interpreter.run.outcome == station::Outcome::incomplete);  // no end marker is a whole record here
    station::judgeClock(interpreter.run, station::ClockJudge::automatic, nullptr);
    for (const auto& [label, value] : interpreter.run.values<station::BoardDescription>().labels) {
        mustBeSafe(label);
        mustBeSafe(value);
    }
    for (const station::Drive& drive : interpreter.run.values<station::Sata>().drives) {
        mustBeSafe(drive.device + drive.serial.value_or("") + drive.model.value_or(""));
    }
    return 0;
}
