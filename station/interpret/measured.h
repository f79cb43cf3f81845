#pragma once

// What the lines of each item measure. A value that no line gave has none.

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace station {

using Count = std::optional<std::int64_t>;

struct Card {
    std::int64_t number = 0;
    bool poe = false;  // such a port is not tested
    std::optional<bool> link;
    std::string error;  // where the link should be
    std::optional<bool> fullDuplex;
    Count speedMbit;
};
struct Network {
    std::vector<Card> cards;
};

struct Rs485 {
    Count trialsPassed;
    Count trialsFailed;
};

struct Alarm {
    Count inputs;
    Count outputs;
    std::vector<std::string> mismatches;  // the lines
    Count checksPassed;
    Count checksFailed;
};

struct UsbDisk {
    std::string device;
    std::int64_t freeMiB = 0;
};
struct Usb {
    std::optional<bool> usb3;
    std::int64_t unreadableDisks = 0;
    std::vector<UsbDisk> disks;
    Count expected;
    Count found;
};

struct BoardDescription {
    std::vector<std::pair<std::string, std::string>> labels;  // with their values; each label once
};

struct Drive {
    std::string device;
    std::optional<std::string> serial;
    std::optional<std::string> model;
    std::optional<std::string> firmware;
    Count capacityGiB;
};
struct Sata {
    Count expected;  // internal ports; external ones may stay empty
    std::vector<Drive> drives;
    std::vector<std::string> missing;  // devices
    Count found;
};

struct ClockPair {
    std::string clock;
    std::string system;       // empty: its line did not come
    Count differenceSeconds;  // positive: the clock is ahead
};
struct ClockTimes {
    std::vector<ClockPair> pairs;
};

struct ChipTemperature {
    Count celsius;
};

// Who the board says it is; empty: not printed.
struct Board {
    std::vector<std::string> macs;
    std::string pcb;
    std::string cpldDate;
    std::string deviceType;
};

}  // namespace station
