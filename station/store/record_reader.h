#pragma once

// From a record's text to what the tables hold.

#include <stdexcept>
#include <string>

#include "station/store/stored_attempt.h"

namespace station {

// Why a file is no record that this station knows.
struct NotARecord : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Of a record of version 1 or 2. One without an id gets one that is made of what it says, the same for each
// copy. Texts are without control characters and of bounded length. Throws NotARecord.
StoredAttempt readAttempt(const std::string& text);

}  // namespace station
