#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace station {

// How a tool that is no process of this machine was reached.
struct LinkInfo {
    std::string by;           // "ssh", or "command" for one of the caller's own
    std::string destination;  // as ssh takes it; this and the following are empty where they are not known
    std::string hostKey;      // fingerprint of the board's host key
    std::string kernel;       // the board's
};

// A question of the gate that was not answered as it should be, and the option that opened it.
struct GateOverride {
    std::string gate, option, text;
};

// Where and by whom a unit is tested, for the trace; empty where nobody said.
struct StationInfo {
    std::string version;
    std::string name;
    std::string fixture;
    std::string operatorName;
    std::string lot;
};

// The file that said what a good unit is.
struct ProductInfo {
    std::string name;
    std::string sha256;
};

// What is known about an attempt before it starts.
struct AttemptInfo {
    std::string id;                   // UUID, lower case
    std::optional<std::string> unit;  // none on a bench
    int number = 0;
    std::string started;               // UTC, ISO 8601
    std::string ended;                 // the same; empty while it runs
    std::vector<std::string> command;  // as given
    std::string toolPath;              // empty when there is no tool to look at
    std::string toolSha256;            // lower-case hexadecimal; empty when it is not known
    std::optional<LinkInfo> link;      // none for a process of this machine
    StationInfo station;
    std::optional<ProductInfo> product;  // none: nothing told the station what to expect
    std::string repaired;                // the note of a repair; empty: none
    std::vector<GateOverride> overrides;
    std::function<std::string()> historyFrom;  // who has told so far what was before; empty: nobody was asked
    std::vector<std::string> only;             // items, when only a part of the plan is run
};

// What came through the report pipe.
struct StreamCounts {
    std::uint64_t bytes = 0;
    std::uint64_t records = 0;
    bool torn = false;  // it broke off inside a record, or held garbage
};

}  // namespace station
