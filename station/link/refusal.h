#pragma once

#include <string>
#include <string_view>

namespace station {

// Why our program on the board did not start the tool, from its word for the reason and what stands behind
// that; empty for a word that it does not have.
std::string textOfRefusal(std::string_view reason, std::string_view about);

}  // namespace station
