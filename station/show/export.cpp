#include "station/show/export.h"

#include <array>
#include <charconv>
#include <span>
#include <string>
#include <vector>

#include "station/keep/json.h"
#include "station/show/csv.h"
#include "station/show/times.h"

namespace station {

namespace {

enum class Kind { text, textOrNull, integer, number, time, flag };

struct Column {
    const char* name;  // stays as it is: others' programs know it
    const char* sql;
    Kind kind;
};

constexpr Column attemptColumns[] = {
    {"id", "a.id", Kind::text},
    {"unit", "a.unit", Kind::textOrNull},
    {"attempt", "a.number", Kind::integer},
    {"started", "a.started", Kind::time},
    {"ended", "t.ended", Kind::time},
    {"duration_seconds", "a.seconds", Kind::number},
    {"outcome", "a.outcome", Kind::text},
    {"running", "a.running", Kind::flag},
    {"partial", "a.partial", Kind::flag},
    {"product", "a.product", Kind::textOrNull},
    {"product_sha256", "t.product_sha256", Kind::textOrNull},
    {"station", "a.station", Kind::textOrNull},
    {"station_version", "t.station_version", Kind::textOrNull},
    {"fixture", "t.fixture", Kind::textOrNull},
    {"operator", "t.operator", Kind::textOrNull},
    {"lot", "t.lot", Kind::textOrNull},
    {"repaired", "t.repaired", Kind::textOrNull},
    {"overrides", "t.overrides", Kind::textOrNull},
    {"reasons", "t.reasons", Kind::textOrNull},
    {"failed_items",
     "(SELECT GROUP_CONCAT(name, ' ') FROM (SELECT i.name FROM item i WHERE i.unit = a.unit AND i.attempt = "
     "a.id"
     " AND i.outcome = 'failed' ORDER BY i.position))",
     Kind::textOrNull},
    {"folder", "t.place", Kind::text},
};

constexpr Column valueColumns[] = {
    {"id", "a.id", Kind::text},
    {"unit", "a.unit", Kind::textOrNull},
    {"attempt", "a.number", Kind::integer},
    {"started", "a.started", Kind::time},
    {"outcome", "a.outcome", Kind::text},
    {"product", "a.product", Kind::textOrNull},
    {"station", "a.station", Kind::textOrNull},
    {"item", "v.item", Kind::text},
    {"value", "v.name", Kind::text},
    {"measured", "v.measured", Kind::number},
    {"measured_text", "v.measured_text", Kind::textOrNull},
    {"minimum", "v.minimum", Kind::number},
    {"maximum", "v.maximum", Kind::number},
    {"expected", "v.expected", Kind::textOrNull},
    {"passed", "v.passed", Kind::flag},
};

using Columns = std::span<const Column>;

// As short as it can be without losing anything, and never with an exponent, which spreadsheets round.
std::string numberText(double number) {
    std::array<char, 512> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    return {text.data(), end.ptr};
}

std::string cellText(const Row& row, int column, Kind kind) {
    switch (kind) {
        case Kind::integer:
            return std::to_string(row.integer(column));
        case Kind::number:
            return numberText(row.number(column));
        case Kind::time:
            return utcTime(row.integer(column));
        case Kind::flag:
            return row.integer(column) != 0 ? "true" : "false";
        default:
            return std::string(row.text(column));
    }
}

Json jsonOf(const Row& row, int column, Kind kind) {
    const bool isEmptyText = kind == Kind::textOrNull && row.text(column).empty();
    if (row.isNull(column) || isEmptyText) {
        return nullptr;
    }
    switch (kind) {
        case Kind::integer:
            return row.integer(column);
        case Kind::number:
            return row.number(column);
        case Kind::flag:
            return row.integer(column) != 0;
        default:
            return cellText(row, column, kind);
    }
}

void writeCsvRow(std::ostream& output, Columns columns, const Row& row) {
    std::vector<std::string> cells;
    for (int i = 0; i < std::ssize(columns); ++i) {
        const Kind kind = columns[static_cast<std::size_t>(i)].kind;
        cells.push_back(row.isNull(i) ? "" : cellText(row, i, kind));
    }
    writeCsvLine(output, cells);
}

void writeJsonRow(std::ostream& output, Columns columns, const Row& row) {
    Json line;
    for (int i = 0; i < std::ssize(columns); ++i) {
        const Column& column = columns[static_cast<std::size_t>(i)];
        line[column.name] = jsonOf(row, i, column.kind);
    }
    output << line.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
}

void exportRows(Database& database, Columns columns, const std::string& from, const SelectedSource& selected,
                ExportFormat format, std::ostream& output) {
    std::string list;
    std::vector<std::string> names;
    for (const Column& column : columns) {
        list += (list.empty() ? "" : ", ") + std::string(column.sql);
        names.emplace_back(column.name);
    }
    if (format == ExportFormat::csv) {
        writeCsvLine(output, names);
    }
    database.query("SELECT " + list + " FROM " + from, selected.parameters, [&](const Row& row) {
        (format == ExportFormat::csv ? writeCsvRow : writeJsonRow)(output, columns, row);
    });
}

}  // namespace

void exportAttempts(Database& database, const Selection& selection, ExportFormat format,
                    std::ostream& output) {
    const SelectedSource selected = selectedSource(selection);
    exportRows(database, attemptColumns,
               selected.source.attempts +
                   " a JOIN attempt t ON t.unit = a.unit AND t.id = a.id"
                   " ORDER BY a.unit, a.started, a.id",
               selected, format, output);
}

void exportValues(Database& database, const Selection& selection, ExportFormat format, std::ostream& output) {
    const SelectedSource selected = selectedSource(selection);
    // The item is a selection's last parameter.
    const std::string ofItem =
        selection.item.empty() ? "" : " AND v.item = $" + std::to_string(selected.parameters.size());
    exportRows(database, valueColumns,
               selected.source.attempts + " a JOIN value v ON v.unit = a.unit AND v.attempt = a.id" + ofItem +
                   " ORDER BY a.unit, a.started, a.id, v.item, v.name",
               selected, format, output);
}

}  // namespace station
