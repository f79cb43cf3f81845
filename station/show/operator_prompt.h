#pragma once

// A question to the operator at the terminal.

#include <string>

namespace station {

enum class OperatorAnswer {
    yes,
    no,
    none,     // nobody answered in time, or the terminal is gone
    stopped,  // a stop signal came; it is still pending
};

// Somebody sits at standard input and output.
bool personIsThere();

// Shows the question and waits for the key y or n; others are passed over, and so is what was typed before
// the question. limitSeconds: 0 for ever. The terminal is left as it was. Throws std::system_error.
OperatorAnswer askOperator(const std::string& question, double limitSeconds);

}  // namespace station
