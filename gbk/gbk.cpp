#include "gbk/gbk.h"

#include <iconv.h>

#include <cerrno>
#include <stdexcept>

namespace gbk {

namespace {

constexpr const char* replacement = "\uFFFD";
constexpr std::size_t mostBytesPerByte = 2;  // GBK to UTF-8, and UTF-8 to UTF-16

// An iconv(3) descriptor that closes itself.
class Converter {
  public:
    Converter(const char* from, const char* to) : handle_(iconv_open(to, from)) {
        if (handle_ == reinterpret_cast<iconv_t>(-1)) {
            throw std::runtime_error(std::string("iconv knows no way from ") + from + " to " + to);
        }
    }
    ~Converter() { (void)iconv_close(handle_); }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    // Converts as far as it goes and takes that off bytes; the errno that ended it, 0 at the end.
    int convert(std::string& bytes, std::string& text) {
        std::string room(bytes.size() * mostBytesPerByte + 4, '\0');
        char* in = bytes.data();
        char* out = room.data();
        std::size_t inLeft = bytes.size();
        std::size_t outLeft = room.size();
        const bool ended = iconv(handle_, &in, &inLeft, &out, &outLeft) != static_cast<std::size_t>(-1);
        const int error = ended ? 0 : errno;
        text.append(room, 0, room.size() - outLeft);
        bytes.erase(0, bytes.size() - inLeft);
        return error;
    }

  private:
    iconv_t handle_;
};

}  // namespace

std::string decode(const std::string& bytes) {
    std::string left = bytes;
    std::string text;
    if (Converter("GBK", "UTF-8").convert(left, text) != 0) {
        throw std::runtime_error("no GBK text after \"" + text + "\"");
    }
    return text;
}

bool isUtf8(const std::string& bytes) {
    std::string left = bytes;
    std::string text;
    return Converter("UTF-8", "UTF-16").convert(left, text) == 0;  // which ends where Unicode ends
}

std::string Stream::decode(const std::string& bytes) {
    torn_ += bytes;
    std::string text;
    Converter converter("GBK", "UTF-8");
    while (converter.convert(torn_, text) == EILSEQ) {
        text += replacement;
        torn_.erase(0, 1);
    }
    return text;
}

std::string Stream::finish() {
    const bool waits = !torn_.empty();
    torn_.clear();
    return waits ? replacement : "";
}

}  // namespace gbk
