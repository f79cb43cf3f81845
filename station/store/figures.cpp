#include "station/store/figures.h"

#include <ctime>

namespace station {

namespace {

constexpr std::int64_t secondsOfADay = 86400;

// The conditions that a selection sets on an attempt "a".
std::string conditions(const Selection& selection, SqlValues& parameters) {
    std::string text = " WHERE 1 = 1";
    const auto add = [&](const char* condition, SqlValue value) {
        parameters.push_back(std::move(value));
        text += std::string(" AND ") + condition + " $" + std::to_string(parameters.size());
    };
    if (selection.since) {
        add("a.started >=", *selection.since);
    }
    for (const auto& [condition, value] : {std::pair("a.product =", &selection.product),
                                           {"a.unit =", &selection.unit},
                                           {"a.station =", &selection.station},
                                           {"i.name =", &selection.item}}) {
        if (!value->empty()) {
            add(condition, *value);
        }
    }
    return text;
}

constexpr const char* itemOfAttempt = " JOIN item i ON i.unit = a.unit AND i.attempt = a.id";

// An item i as it stands now. Where records are only ever added to a database, what a person decided about an
// item stands beside it.
constexpr const char* itemOutcome =
    "CASE WHEN i.outcome = 'needs-person' THEN COALESCE((SELECT s.outcome FROM settlement s"
    " WHERE s.unit = i.unit AND s.attempt = i.attempt AND s.item = i.name"
    " ORDER BY s.position DESC LIMIT 1), i.outcome) ELSE i.outcome END";

std::int64_t offsetAt(std::int64_t time) {
    const auto wanted = static_cast<std::time_t>(time);
    std::tm parts = {};
    return localtime_r(&wanted, &parts) == nullptr ? 0 : parts.tm_gmtoff;
}

// When the offset at "from" ends, which is not the one at "until" any more.
std::int64_t changeBetween(std::int64_t from, std::int64_t until) {
    const std::int64_t offset = offsetAt(from);
    while (until - from > 1) {
        const std::int64_t middle = from + (until - from) / 2;
        (offsetAt(middle) == offset ? from : until) = middle;
    }
    return until;
}

std::string shiftedDay(std::int64_t offset) {
    return "(started + " + std::to_string(offset) + ") / " + std::to_string(secondsOfADay);
}

}  // namespace

SelectedSource selectedSource(const Selection& selection) {
    SelectedSource selected;
    const std::string where = conditions(selection, selected.parameters);
    if (selected.parameters.empty()) {
        return selected;
    }
    if (selection.item.empty()) {
        selected.source.judged = "(SELECT a.* FROM judged a" + where + ")";
        selected.source.attempts = "(SELECT a.* FROM outcome a" + where + ")";
        return selected;
    }
    const std::string common =
        std::string("a.unit, a.id, a.number, a.started, a.seconds, a.product, a.station, ") + itemOutcome +
        " AS outcome";
    selected.source.judged = "(SELECT " + common + ", a.turn, a.turns FROM judged a" + itemOfAttempt + where +
                             " AND " + itemOutcome + " IN ('passed', 'failed'))";
    selected.source.attempts = "(SELECT " + common + ", a.running, a.partial, a.reasons FROM outcome a" +
                               itemOfAttempt + where + " AND i.outcome <> 'skipped')";
    return selected;
}

std::vector<ZoneOffset> zoneOffsets(std::int64_t first, std::int64_t last) {
    std::vector<ZoneOffset> offsets = {{first, offsetAt(first)}};
    for (std::int64_t day = first; day < last; day += secondsOfADay) {
        if (const std::int64_t next = offsetAt(day + secondsOfADay); next != offsets.back().seconds) {
            offsets.push_back({changeBetween(day, day + secondsOfADay), next});
        }
    }
    return offsets;
}

std::string localDay(std::int64_t first, std::int64_t last) {
    const std::vector<ZoneOffset> offsets = zoneOffsets(first, last);
    std::string cases;
    for (std::size_t i = 1; i < offsets.size(); ++i) {
        cases += " WHEN started < " + std::to_string(offsets[i].from) + " THEN " +
                 shiftedDay(offsets[i - 1].seconds);
    }
    const std::string latest = shiftedDay(offsets.back().seconds);
    return cases.empty() ? latest : "CASE" + cases + " ELSE " + latest + " END";
}

std::string yieldByDay(const FigureSource& source) {
    return "SELECT " + source.day +
           " AS day, product, COUNT(*) AS units,"
           " SUM(CASE WHEN outcome = 'passed' THEN 1 ELSE 0 END) AS passed FROM " +
           source.judged + " a WHERE turn = 1 GROUP BY " + source.day + ", product";
}

std::string totals(const FigureSource& source) {
    return "SELECT COUNT(DISTINCT unit) AS units,"
           " SUM(CASE WHEN turn = 1 THEN 1 ELSE 0 END) AS first_units,"
           " SUM(CASE WHEN turn = 1 AND outcome = 'passed' THEN 1 ELSE 0 END) AS passed_first,"
           " SUM(CASE WHEN turn = turns AND outcome = 'passed' THEN 1 ELSE 0 END) AS passed_last,"
           " COUNT(*) AS attempts, SUM(CASE WHEN turn > 1 THEN 1 ELSE 0 END) AS retests FROM " +
           source.judged + " a";
}

std::string itemFailures(const FigureSource& source) {
    return std::string(
               "SELECT item, SUM(CASE WHEN judgement = 'failed' THEN 1 ELSE 0 END) AS failed,"
               " COUNT(*) AS tested FROM (SELECT i.name AS item, ") +
           itemOutcome + " AS judgement FROM " + source.judged + " a" + itemOfAttempt +
           ") judgements WHERE judgement IN ('passed', 'failed') GROUP BY item";
}

std::string durations(const FigureSource& source) {
    return "SELECT product, COUNT(*) AS attempts,"
           " MIN(CASE WHEN place * 2 >= places THEN seconds END) AS median,"
           " MIN(CASE WHEN place * 10 >= places * 9 THEN seconds END) AS p90 FROM"
           " (SELECT product, seconds, ROW_NUMBER() OVER (PARTITION BY product ORDER BY seconds) AS place,"
           " COUNT(*) OVER (PARTITION BY product) AS places FROM " +
           source.judged + " a) ranked GROUP BY product";
}

std::string valueTrend(const FigureSource& source) {
    return "SELECT product, v.item AS item, v.name AS name, " + source.day +
           " AS day, COUNT(*) AS measurements, MIN(measured) AS lowest, AVG(measured) AS mean,"
           " MAX(measured) AS highest, SUM(CASE WHEN passed = 0 THEN 1 ELSE 0 END) AS outside,"
           " MIN(minimum) AS minimum, MAX(maximum) AS maximum FROM " +
           source.judged +
           " a JOIN value v ON v.unit = a.unit AND v.attempt = a.id WHERE measured IS NOT NULL"
           " GROUP BY product, v.item, v.name, " +
           source.day;
}

std::string incompleteRuns(const FigureSource& source) {
    return "SELECT reasons, COUNT(*) AS runs, MAX(started) AS latest FROM " + source.attempts +
           " a WHERE unit <> '' AND running = 0 AND partial = 0 AND outcome NOT IN ('passed', 'failed',"
           " 'needs-person') GROUP BY reasons";
}

std::string otherRuns(const FigureSource& source) {
    return "SELECT outcome, running, partial, CASE WHEN unit = '' THEN 1 ELSE 0 END AS bench,"
           " COUNT(*) AS runs FROM " +
           source.attempts + " a GROUP BY outcome, running, partial, CASE WHEN unit = '' THEN 1 ELSE 0 END";
}

std::string attemptList(const FigureSource& source) {
    return "SELECT unit, id, number, started, outcome, product, station, running, partial FROM " +
           source.attempts + " a ORDER BY unit, started, id";
}

// Those that were settled are few, and apart: an index has the others.
std::string failedItems(const FigureSource& source) {
    const std::string items =
        "SELECT a.unit AS unit, a.id AS id, i.name AS item, i.position AS position FROM " + source.attempts +
        " a" + itemOfAttempt;
    return items + " WHERE i.outcome = 'failed' UNION ALL " + items +
           " WHERE i.outcome = 'needs-person' AND " + itemOutcome + " = 'failed' ORDER BY 1, 4";
}

}  // namespace station
