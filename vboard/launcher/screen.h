#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include "gbk/gbk.h"
#include "vboard/kernel/clock.h"

namespace vboard {

// Shows a stream of bytes to a person: UTF-8, with the virtual time in front of each line on request.
class Screen {
  public:
    // raw: the bytes as they are (GBK).
    Screen(std::FILE* stream, bool raw, bool timestamps)
        : stream_(stream), raw_(raw), timestamps_(timestamps) {}

    void show(Time at, std::string_view bytes) {
        const std::string text = raw_ ? std::string(bytes) : decoder_.decode(std::string(bytes));
        for (const char character : text) {
            if (timestamps_ && atLineStart_) {
                (void)std::fprintf(stream_, "%10.3f  ", static_cast<double>(at.count()) / 1e9);
            }
            (void)std::fputc(character, stream_);
            atLineStart_ = character == '\n';
        }
        (void)std::fflush(stream_);
    }

    void endLine() {
        if (!raw_ && !atLineStart_) {
            (void)std::fputc('\n', stream_);
            (void)std::fflush(stream_);
        }
    }

  private:
    std::FILE* stream_;
    bool raw_;
    bool timestamps_;
    gbk::Stream decoder_;
    bool atLineStart_ = true;
};

}  // namespace vboard
