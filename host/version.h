#pragma once

// Which r8 this is, for --version and for the records.

#include <string_view>

namespace host {

// The project's version and, behind a "+", the commit: "1.02+0242208cf6a1". ".modified" follows where tracked
// files differ from it. Sources of which nobody knows the commit have the version alone.
std::string_view r8Version();

}  // namespace host
