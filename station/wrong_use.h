#pragma once

#include <stdexcept>

namespace station {

// The station was asked for what it can't do, or its place is taken. Nothing was tested and nothing was kept.
struct WrongUse : std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace station
