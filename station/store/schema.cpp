#include "station/store/schema.h"

#include "station/store/figures.h"

namespace station {

namespace {

constexpr const char* tables[] = {
    R"(CREATE TABLE schema_version (version INTEGER NOT NULL PRIMARY KEY))",
    R"(CREATE TABLE attempt (
    unit TEXT NOT NULL,
    id TEXT NOT NULL,
    number INTEGER NOT NULL,
    started BIGINT NOT NULL,
    ended BIGINT,
    seconds DOUBLE PRECISION NOT NULL,
    outcome TEXT NOT NULL,
    running INTEGER NOT NULL,
    partial INTEGER NOT NULL,
    product TEXT NOT NULL,
    product_sha256 TEXT NOT NULL,
    station TEXT NOT NULL,
    station_version TEXT NOT NULL,
    fixture TEXT NOT NULL,
    operator TEXT NOT NULL,
    lot TEXT NOT NULL,
    repaired TEXT NOT NULL,
    overrides TEXT NOT NULL,
    reasons TEXT NOT NULL,
    place TEXT NOT NULL,
    PRIMARY KEY (unit, id)))",
    R"(CREATE TABLE item (
    unit TEXT NOT NULL,
    attempt TEXT NOT NULL,
    name TEXT NOT NULL,
    position INTEGER NOT NULL,
    outcome TEXT NOT NULL,
    reasons_zh TEXT NOT NULL,
    reasons_en TEXT NOT NULL,
    PRIMARY KEY (unit, attempt, name)))",
    R"(CREATE TABLE value (
    unit TEXT NOT NULL,
    attempt TEXT NOT NULL,
    item TEXT NOT NULL,
    name TEXT NOT NULL,
    measured DOUBLE PRECISION,
    measured_text TEXT NOT NULL,
    minimum DOUBLE PRECISION,
    maximum DOUBLE PRECISION,
    expected TEXT NOT NULL,
    passed INTEGER,
    PRIMARY KEY (unit, attempt, item, name)))",
    R"(CREATE TABLE settlement (
    unit TEXT NOT NULL,
    attempt TEXT NOT NULL,
    position INTEGER NOT NULL,
    item TEXT NOT NULL,
    outcome TEXT NOT NULL,
    attempt_outcome TEXT NOT NULL,
    person TEXT NOT NULL,
    settled BIGINT NOT NULL,
    PRIMARY KEY (unit, attempt, position)))",
    R"(CREATE TABLE mac_use (
    unit TEXT NOT NULL,
    attempt TEXT NOT NULL,
    mac TEXT NOT NULL,
    PRIMARY KEY (unit, attempt, mac)))",
    R"(CREATE TABLE mac_owner (
    mac TEXT NOT NULL,
    unit TEXT NOT NULL,
    attempt TEXT NOT NULL,
    started BIGINT NOT NULL,
    PRIMARY KEY (mac)))",
};

// What the figures of all units need of an attempt, so that none of the wide rows is read for them.
constexpr const char* indexes[] = {
    "CREATE INDEX attempt_order ON attempt (unit, started, id, running, partial, outcome, product, station,"
    " seconds, number)",
    "CREATE INDEX item_failed ON item (unit, attempt, name) WHERE outcome = 'failed'",
    "CREATE INDEX mac_use_mac ON mac_use (mac, unit)",
};

constexpr const char* views[] = {
    R"(CREATE VIEW outcome AS
    SELECT unit, id, number, started, seconds, running, partial, product, station, reasons,
        COALESCE((SELECT s.attempt_outcome FROM settlement s
                  WHERE s.unit = a.unit AND s.attempt = a.id
                  ORDER BY s.position DESC LIMIT 1), a.outcome) AS outcome
    FROM attempt a)",
    R"(CREATE VIEW judged AS
    SELECT unit, id, number, started, seconds, product, station, outcome,
        ROW_NUMBER() OVER (PARTITION BY unit ORDER BY started, id) AS turn,
        COUNT(*) OVER (PARTITION BY unit) AS turns
    FROM outcome
    WHERE unit <> '' AND running = 0 AND partial = 0 AND outcome IN ('passed', 'failed'))",
    R"(CREATE VIEW mac_conflict AS
    SELECT DISTINCT u.mac, u.unit, o.unit AS owner
    FROM mac_use u JOIN mac_owner o ON o.mac = u.mac
    WHERE u.unit <> o.unit)",
};

void createFigureViews(Database& database) {
    const FigureSource everything;
    database.execute("CREATE VIEW yield_by_day AS " + yieldByDay(everything));
    database.execute("CREATE VIEW item_failures AS " + itemFailures(everything));
    database.execute("CREATE VIEW durations AS " + durations(everything));
    database.execute("CREATE VIEW value_trend AS " + valueTrend(everything));
    database.execute("CREATE VIEW incomplete_runs AS " + incompleteRuns(everything));
}

}  // namespace

void createSchema(Database& database) {
    for (const char* const table : tables) {
        database.execute(table + (" " + database.tableOptions()));
    }
    for (const char* const index : indexes) {
        database.execute(index);
    }
    for (const char* const view : views) {
        database.execute(view);
    }
    createFigureViews(database);
    database.execute("INSERT INTO schema_version (version) VALUES ($1)", {std::int64_t{schemaVersion}});
}

int schemaVersionOf(Database& database) {
    int version = 0;
    try {
        database.query("SELECT MAX(version) FROM schema_version", {},
                       [&](const Row& row) { version = static_cast<int>(row.integer(0)); });
    } catch (const DatabaseError& error) {
        if (error.trouble == Trouble::busy || error.trouble == Trouble::away) {
            throw;
        }
        return 0;
    }
    return version;
}

}  // namespace station
