#include "station/show/page_units.h"

#include <algorithm>

#include "station/show/page_json.h"

namespace station {

namespace {

constexpr int attemptsOfAUnit = 20;
constexpr std::size_t attemptsWithValues = 5;
constexpr std::size_t bytesOfTexts = 150'000;

Json numberOrNull(const Row& row, int column) {
    return row.isNull(column) ? Json() : Json(row.number(column));
}

Json itemsOf(Database& database, const std::string& unit, const std::string& attempt) {
    Json items = Json::array();
    database.query(
        "SELECT name, outcome, reasons_zh, reasons_en FROM item WHERE unit = $1 AND attempt = $2"
        " AND outcome <> 'passed' ORDER BY position",
        {unit, attempt}, [&](const Row& row) {
            items.push_back({row.text(0), row.text(1), row.text(2), row.text(3)});
        });
    return items;
}

Json valuesOf(Database& database, const std::string& unit, const std::string& attempt) {
    Json values = Json::array();
    database.query(
        "SELECT item, name, measured, measured_text, minimum, maximum, expected, passed FROM value"
        " WHERE unit = $1 AND attempt = $2 ORDER BY item, name",
        {unit, attempt}, [&](const Row& row) {
            const Json measured = row.isNull(2) ? Json(row.text(3)) : Json(row.number(2));
            const Json passed = row.isNull(7) ? Json() : Json(row.integer(7));
            values.push_back({row.text(0), row.text(1), measured, numberOrNull(row, 4), numberOrNull(row, 5),
                              row.text(6), passed});
        });
    return values;
}

Json attemptsOf(Database& database, const std::string& unit) {
    Json attempts = Json::array();
    database.query(
        "SELECT o.id, o.number, o.started, o.seconds, o.outcome, o.running, o.partial, o.product, o.station,"
        " a.operator, a.fixture, a.lot, a.repaired, a.overrides, a.reasons, a.place"
        " FROM outcome o JOIN attempt a ON a.unit = o.unit AND a.id = o.id WHERE o.unit = $1"
        " ORDER BY o.started DESC, o.id DESC LIMIT " +
            std::to_string(attemptsOfAUnit),
        {unit}, [&](const Row& row) {
            Json attempt = {{"id", row.text(0)},
                            {"number", row.integer(1)},
                            {"started", row.integer(2)},
                            {"seconds", row.number(3)},
                            {"outcome", row.integer(5) != 0 ? std::string_view("running") : row.text(4)}};
            if (row.integer(6) != 0) {
                attempt["partial"] = true;
            }
            const char* const names[] = {"product",  "station",   "operator", "fixture", "lot",
                                         "repaired", "overrides", "reasons",  "place"};
            for (int i = 0; i < std::ssize(names); ++i) {
                if (!row.text(7 + i).empty()) {
                    attempt[names[i]] = row.text(7 + i);
                }
            }
            attempts.push_back(std::move(attempt));
        });
    for (std::size_t i = 0; i < attempts.size(); ++i) {
        const std::string id = attempts[i]["id"];
        attempts[i]["items"] = itemsOf(database, unit, id);
        if (i < attemptsWithValues) {
            attempts[i]["values"] = valuesOf(database, unit, id);
        }
    }
    return attempts;
}

// Adds one after the other until there is no more room.
template <typename Make, typename HasRoom>
PagePart fill(const std::vector<const UnitLine*>& units, char begin, char end, std::size_t mostBytes,
              const Make& make, const HasRoom& hasRoom) {
    PagePart part = {std::string(1, begin), 0};
    for (const UnitLine* const unit : units) {
        const std::string one = make(*unit);
        if (one.size() > mostBytes / 20) {
            continue;  // it must not keep the others out
        }
        if (!hasRoom() || part.json.size() + one.size() > mostBytes) {
            break;
        }
        part.json += (part.units++ == 0 ? "" : ",\n") + one;
    }
    part.json += end;
    return part;
}

}  // namespace

std::size_t PageTexts::place(std::string_view text) {
    const auto [found, isNew] = places_.try_emplace(std::string(text), places_.size());
    bytes_ += isNew ? text.size() : 0;
    return found->second;
}

std::string PageTexts::list() const {
    std::vector<Json> texts(places_.size());
    for (const auto& [text, place] : places_) {
        texts[place] = text;
    }
    return pageJson(texts);
}

std::vector<const UnitLine*> inOrderOfAttention(const std::deque<UnitLine>& units) {
    std::vector<const UnitLine*> ordered;
    for (const UnitLine& unit : units) {
        ordered.push_back(&unit);
    }
    std::stable_partition(ordered.begin(), ordered.end(),
                          [](const UnitLine* unit) { return unit->last != "passed"; });
    return ordered;
}

PagePart unitRows(const std::vector<const UnitLine*>& units, PageTexts& texts, std::size_t mostBytes) {
    const auto row = [&](const UnitLine& unit) {
        return pageJson({unit.unit, unit.attempts, texts.place(unit.first), texts.place(unit.last),
                         unit.lastStarted, texts.place(unit.product), texts.place(unit.station),
                         texts.place(unit.failed)});
    };
    return fill(units, '[', ']', mostBytes, row, [&] { return texts.bytes() < bytesOfTexts; });
}

PagePart unitDetails(Database& database, const std::vector<const UnitLine*>& units, std::size_t mostBytes) {
    const auto details = [&](const UnitLine& unit) {
        return pageJson(unit.unit) + ":" + pageJson(attemptsOf(database, unit.unit));
    };
    return fill(units, '{', '}', mostBytes, details, [] { return true; });
}

}  // namespace station
