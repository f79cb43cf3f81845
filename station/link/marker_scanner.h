#pragma once

// Takes our program's own lines out of what comes from a board: "r8-station TOKEN WORD...", wherever in the
// stream they begin.

#include <functional>
#include <string>
#include <string_view>

namespace station {

class MarkerScanner {
  public:
    using Handler = std::function<void(std::string_view)>;

    // The token is what no board can print by chance.
    explicit MarkerScanner(const std::string& token) : mark_("r8-station " + token + " ") {}

    // Calls onMarker with the words of each line of ours that these bytes complete, and onRest with what
    // stands between them, in the order of the stream. A line of ours that does not end within 4 KiB is no
    // longer one.
    void feed(std::string_view bytes, const Handler& onMarker, const Handler& onRest);

    // At the end of the stream: what was kept back, for it could have become a line of ours.
    void finish(const Handler& onRest);

  private:
    void passRest(std::size_t length, const Handler& onRest);

    std::string mark_;
    std::string pending_;
};

}  // namespace station
