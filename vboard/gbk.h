#pragma once

#include <string>

namespace vboard {

// GBK, the encoding of the operator's texts, into UTF-8. Throws std::runtime_error on bytes that are no GBK.
std::string decodeGbk(const std::string& bytes);

// The same for a stream that people watch: what is no GBK is shown as "?", and a character that is torn
// between two pieces waits for its second byte.
class GbkStream {
  public:
    std::string decode(const std::string& bytes);

  private:
    std::string torn_;
};

}  // namespace vboard
