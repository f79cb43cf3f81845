#pragma once

// What a record says of an attempt, as the tables hold it (station/store/schema.h).

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace station {

struct StoredItem {
    std::string name, outcome, reasonsZh, reasonsEn;
};

struct StoredValue {
    std::string item, name;
    std::optional<double> measured;  // none: a text, or it was not seen
    std::string measuredText;
    std::optional<double> minimum, maximum;
    std::string expected;  // the text, pattern or range of texts that it has to be
    std::optional<bool> passed;
};

struct StoredSettlement {
    std::string item, outcome, person;
    std::int64_t settled = 0;
};

struct StoredAttempt {
    std::string unit;  // empty on a bench
    std::string id;
    std::int64_t number = 0;
    std::int64_t started = 0;
    std::optional<std::int64_t> ended;
    bool mayRun = false;  // nothing says that it has ended: whoever holds its stream decides
    bool running = false;
    double seconds = 0;
    std::string outcome;
    bool partial = false;
    std::string product, productSha256;
    std::string station, stationVersion, fixture, person, lot;
    std::string repaired, overrides, reasons;
    std::string place;
    std::vector<StoredItem> items;
    std::vector<StoredValue> values;
    std::vector<StoredSettlement> settlements;
    std::vector<std::string> macs;
};

}  // namespace station
