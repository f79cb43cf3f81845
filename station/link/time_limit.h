#pragma once

#include <chrono>

namespace station {

// Seconds that something may take from now on.
class TimeLimit {
  public:
    // 0: for ever.
    explicit TimeLimit(double seconds) : seconds_(seconds) {}

    bool isOver() const { return seconds_ > 0 && elapsed() >= seconds_; }

  private:
    double elapsed() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
    }

    double seconds_;
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

}  // namespace station
