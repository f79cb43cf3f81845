#pragma once

#include <string>

namespace gbk {

// GBK, the encoding of the operator's texts, into UTF-8. Throws std::runtime_error on bytes that are no GBK.
std::string decode(const std::string& bytes);

bool isUtf8(const std::string& bytes);

// The same as decode for what people watch: what is no GBK is shown as U+FFFD, a byte at a time.
class Stream {
  public:
    // A character that is torn between two pieces waits for its second byte.
    std::string decode(const std::string& bytes);

    // The end of the stream: a byte that still waits is shown as well.
    std::string finish();

  private:
    std::string torn_;
};

}  // namespace gbk
