#pragma once

// Tells a program on a board that its station is still there.

#include <thread>

#include "host/descriptor.h"

namespace station {

// A line twice a second into a pipe, from a thread of its own: a terminal that is stopped for a while holds
// up the station, not the sign. The end of the pipe, for the other side, comes with stop() and with the end
// of the station, whatever its cause.
class SignOfLife {
  public:
    // Throws std::system_error.
    SignOfLife();
    ~SignOfLife() { stop(); }
    SignOfLife(const SignOfLife&) = delete;
    SignOfLife& operator=(const SignOfLife&) = delete;

    // The end to give to a child as its standard input, until begin().
    int reader() const { return pipe_.reader.get(); }

    // Once the child has its end.
    void begin();
    void stop();

  private:
    host::Pipe pipe_;
    std::jthread thread_;
};

}  // namespace station
