#include "station/store/attempt_writer.h"

namespace station {

namespace {

SqlValue orNull(const auto& value) {
    return value ? SqlValue(*value) : SqlValue(nullptr);
}

SqlValue flag(bool value) {
    return std::int64_t{value};
}

// "INSERT INTO table (columns) VALUES ($1, ...) ON CONFLICT DO NOTHING".
std::string insertion(const std::string& table, const std::string& columns) {
    std::string places = "$1";
    std::size_t count = 1;
    for (const char character : columns) {
        places += character == ',' ? ", $" + std::to_string(++count) : "";
    }
    return "INSERT INTO " + table + " (" + columns + ") VALUES (" + places + ") ON CONFLICT DO NOTHING";
}

void addItems(Database& database, const StoredAttempt& attempt) {
    static const std::string sql =
        insertion("item", "unit, attempt, name, position, outcome, reasons_zh, reasons_en");
    std::int64_t position = 0;
    for (const StoredItem& item : attempt.items) {
        database.execute(sql, {attempt.unit, attempt.id, item.name, ++position, item.outcome, item.reasonsZh,
                               item.reasonsEn});
    }
}

void addValues(Database& database, const StoredAttempt& attempt) {
    static const std::string sql = insertion(
        "value", "unit, attempt, item, name, measured, measured_text, minimum, maximum, expected, passed");
    for (const StoredValue& value : attempt.values) {
        const SqlValue passed = value.passed ? flag(*value.passed) : SqlValue(nullptr);
        database.execute(
            sql, {attempt.unit, attempt.id, value.item, value.name, orNull(value.measured),
                  value.measuredText, orNull(value.minimum), orNull(value.maximum), value.expected, passed});
    }
}

}  // namespace

void addSettlements(Database& database, const StoredAttempt& attempt) {
    static const std::string sql =
        insertion("settlement", "unit, attempt, position, item, outcome, attempt_outcome, person, settled");
    std::int64_t position = 0;
    for (const StoredSettlement& one : attempt.settlements) {
        database.execute(sql, {attempt.unit, attempt.id, ++position, one.item, one.outcome, attempt.outcome,
                               one.person, one.settled});
    }
}

void addAttempt(Database& database, const StoredAttempt& attempt) {
    static const std::string sql =
        insertion("attempt",
                  "unit, id, number, started, ended, seconds, outcome, running, partial, product, "
                  "product_sha256, station, "
                  "station_version, fixture, operator, lot, repaired, overrides, reasons, place");
    database.execute(sql,
                     {attempt.unit,           attempt.id,        attempt.number,        attempt.started,
                      orNull(attempt.ended),  attempt.seconds,   attempt.outcome,       flag(attempt.running),
                      flag(attempt.partial),  attempt.product,   attempt.productSha256, attempt.station,
                      attempt.stationVersion, attempt.fixture,   attempt.person,        attempt.lot,
                      attempt.repaired,       attempt.overrides, attempt.reasons,       attempt.place});
    addItems(database, attempt);
    addValues(database, attempt);
    addSettlements(database, attempt);
}

void addMacs(Database& database, const StoredAttempt& attempt) {
    static const std::string use = insertion("mac_use", "unit, attempt, mac");
    static const std::string owner = insertion("mac_owner", "mac, unit, attempt, started");
    if (attempt.unit.empty()) {
        return;  // a trial on a bench is no unit that could have an address
    }
    for (const std::string& mac : attempt.macs) {
        database.execute(use, {attempt.unit, attempt.id, mac});
        database.execute(owner, {mac, attempt.unit, attempt.id, attempt.started});
    }
}

}  // namespace station
