#pragma once

// One of the tool's outputs, cut into lines.

#include <functional>
#include <string>
#include <string_view>

namespace station {

struct ConsoleLines {
    std::string (*decode)(std::string_view bytes);  // to UTF-8
    std::string pending = {};

    // Gets a line, without its line break. isCut: it had none yet and was let go at 4096 bytes, so what the
    // cut goes through is not understood.
    using OnLine = std::function<void(std::string_view line, bool isCut)>;

    void feed(std::string_view bytes, const OnLine& onLine);
    // At the end of the output: what came behind the last line break.
    void finish(const OnLine& onLine);
};

}  // namespace station
