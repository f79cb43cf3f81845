#pragma once

// The items that the tool's summary gives a verdict on, and what their lines measure. A value that no line
// gave has none. fields() hands over each value with its name in the record, which holds its unit: of those
// that are optional the ones that are there, of flags the ones that are set, of lists the ones with something
// in them.

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace station {

struct ItemRow;  // what else is known of an item, see station/interpret/items.h

using Count = std::optional<std::int64_t>;

struct Card {
    std::int64_t number = 0;
    bool poe = false;  // such a port is not tested
    std::optional<bool> link;
    std::optional<std::string> error;   // where the link should be
    std::optional<std::string> duplex;  // "full" or "half"
    Count speedMbit;

    void fields(auto&& field) const {
        field("card", number);
        field("poe", poe);
        field("link", link);
        field("error", error);
        field("duplex", duplex);
        field("speedMbit", speedMbit);
    }
};
struct Network {
    std::vector<Card> cards;

    static const ItemRow row;
    void fields(auto&& field) const { field("cards", cards); }
};

// From the console.
struct Rs485 {
    Count trialsPassed;
    Count trialsFailed;

    static const ItemRow row;
    void fields(auto&& field) const {
        field("trialsPassed", trialsPassed);
        field("trialsFailed", trialsFailed);
    }
};

struct Alarm {
    Count inputs;
    Count outputs;
    std::vector<std::string> mismatches;  // the lines
    Count checksPassed;
    Count checksFailed;

    static const ItemRow row;
    void fields(auto&& field) const {
        field("inputs", inputs);
        field("outputs", outputs);
        field("mismatches", mismatches);
        field("checksPassed", checksPassed);
        field("checksFailed", checksFailed);
    }
};

struct UsbDisk {
    std::string device;
    std::int64_t freeMiB = 0;

    void fields(auto&& field) const {
        field("device", device);
        field("freeMiB", freeMiB);
    }
};
struct Usb {
    std::optional<bool> usb3;
    Count unreadableDisks;
    std::vector<UsbDisk> disks;
    Count expected;
    Count found;

    static const ItemRow row;
    void fields(auto&& field) const {
        field("usb3", usb3);
        field("unreadableDisks", unreadableDisks);
        field("disks", disks);
        field("expected", expected);
        field("found", found);
    }
};

struct BoardDescription {
    std::vector<std::pair<std::string, std::string>> labels;  // with their values; each label once
    // What stands there without a label, which the record's values do not hold.
    std::optional<std::string> chip;
    std::optional<std::string> memory;

    static const ItemRow row;
    void fields(auto&& field) const {
        for (const auto& [label, value] : labels) {
            field(label, value);
        }
    }
};

struct Drive {
    std::string device;
    std::optional<std::string> serial;
    std::optional<std::string> model;
    std::optional<std::string> firmware;
    Count capacityGiB;

    void fields(auto&& field) const {
        field("device", device);
        field("serial", serial);
        field("model", model);
        field("firmware", firmware);
        field("capacityGiB", capacityGiB);
    }
};
struct Sata {
    Count expected;  // internal ports; external ones may stay empty
    std::vector<Drive> drives;
    std::vector<std::string> missing;  // devices
    Count found;

    static const ItemRow row;
    void fields(auto&& field) const {
        field("expected", expected);
        field("drives", drives);
        field("missing", missing);
        field("found", found);
    }
};

struct ClockPair {
    std::string clock;
    std::optional<std::string> system;  // none: its line did not come
    Count differenceSeconds;            // positive: the clock is ahead

    void fields(auto&& field) const {
        field("clock", clock);
        field("system", system);
        field("differenceSeconds", differenceSeconds);
    }
};
struct ClockTimes {
    std::vector<ClockPair> pairs;

    static const ItemRow row;
    void fields(auto&& field) const { field("pairs", pairs); }
};

struct ChipTemperature {
    Count celsius;

    static const ItemRow row;
    void fields(auto&& field) const { field("celsius", celsius); }
};

// The following come from single tests of the tool, where the product's plan has them. Of a test that is
// repeated, the worst repetition counts.

struct FrontPanel {
    Count answers;  // repetitions in which the panel answered the tool; of keys the tool says nothing

    static const ItemRow row;
    void fields(auto&& field) const { field("answers", answers); }
};

struct Rs485Loopback {
    Count blocks;  // with a result, one a repetition
    Count matchedBytes;
    Count mismatchedBytes;

    static const ItemRow row;
    void fields(auto&& field) const {
        field("blocks", blocks);
        field("matchedBytes", matchedBytes);
        field("mismatchedBytes", mismatchedBytes);
    }
};

struct Watchdog {
    std::optional<bool> armed;  // the tool has set the time without an error
    Count restartSeconds;       // from there until the board answered again, newly started

    static const ItemRow row;
    void fields(auto&& field) const {
        field("armed", armed);
        field("restartSeconds", restartSeconds);
    }
};

struct PmFirmware {
    Count diskPorts;
    Count lists;  // of chips, one a repetition
    Count chipsPassed;
    Count chipsFailed;
    Count chipsNotTested;
    std::int64_t notTestedBefore = 0;  // in the lists before the last

    static const ItemRow row;
    void fields(auto&& field) const {
        field("diskPorts", diskPorts);
        field("lists", lists);
        field("chipsPassed", chipsPassed);
        field("chipsFailed", chipsFailed);
        field("chipsNotTested", chipsNotTested);
    }
};

struct Buzzer {
    std::optional<bool> driven;  // the tool has switched it without an error

    static const ItemRow row;
    void fields(auto&& field) const { field("driven", driven); }
};

// The items in the order of the record.
using Measured = std::tuple<Network, Rs485, Alarm, Usb, BoardDescription, Sata, ClockTimes, ChipTemperature,
                            FrontPanel, Rs485Loopback, Watchdog, PmFirmware, Buzzer>;
constexpr std::size_t itemCount = std::tuple_size_v<Measured>;

}  // namespace station
