#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace station {

// What is known about an attempt before it starts.
struct AttemptInfo {
    std::optional<std::string> unit;  // none on a bench
    int number = 0;
    std::string started;               // UTC, ISO 8601
    std::vector<std::string> command;  // as given
    std::string toolPath;              // empty when there is no tool to look at
    std::string toolSha256;            // lower-case hexadecimal
};

// What came through the report pipe.
struct StreamCounts {
    std::uint64_t bytes = 0;
    std::uint64_t records = 0;
    bool torn = false;  // it broke off inside a record, or held garbage
};

}  // namespace station
