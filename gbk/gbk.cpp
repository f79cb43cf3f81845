#include "gbk/gbk.h"

#include <iconv.h>

#include <cerrno>
#include <stdexcept>

namespace gbk {

namespace {

constexpr const char* replacement = "\uFFFD";
constexpr std::size_t utf8BytesPerByte = 2;  // two bytes of GBK become at most four of UTF-8

// An iconv(3) descriptor that closes itself.
class Converter {
  public:
    explicit Converter(const char* encoding) : handle_(iconv_open("UTF-8", encoding)) {
        if (handle_ == reinterpret_cast<iconv_t>(-1)) {
            throw std::runtime_error(std::string("iconv knows no ") + encoding + " here");
        }
    }
    ~Converter() { (void)iconv_close(handle_); }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    // Converts as far as it goes and takes that off bytes; the errno that ended it, 0 at the end.
    int convert(std::string& bytes, std::string& text) {
        std::string room(bytes.size() * utf8BytesPerByte + 4, '\0');
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
    if (Converter("GBK").convert(left, text) != 0) {
        throw std::runtime_error("no GBK text after \"" + text + "\"");
    }
    return text;
}

bool isUtf8(const std::string& bytes) {
    std::string left = bytes;
    std::string text;
    return Converter("UTF-8").convert(left, text) == 0;
}

std::string Stream::decode(const std::string& bytes) {
    torn_ += bytes;
    std::string text;
    Converter converter("GBK");
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
