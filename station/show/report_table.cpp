#include "station/show/report_table.h"

#include <algorithm>
#include <iomanip>

#include "station/interpret/text.h"
#include "station/keep/json.h"
#include "station/show/csv.h"
#include "station/show/page_json.h"
#include "station/show/times.h"

namespace station {

namespace {

constexpr std::size_t unitsInTable = 200;  // more than a person reads on a terminal
constexpr std::size_t mostNamed = 10;

// A terminal does what control characters say, and a line break would add a row.
std::string cell(std::string_view text) {
    std::string line = utf8FromEither(text);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\n' || c == '\t'; }, ' ');
    return line;
}

std::string nameOf(const UnitLine& unit) {
    return unit.unit.empty() ? "(bench)" : unit.unit;
}

void printShare(std::ostream& output, std::int64_t count, std::int64_t of) {
    output << count << " of " << of;
    if (of != 0) {
        output << " (" << std::fixed << std::setprecision(1)
               << 100.0 * static_cast<double>(count) / static_cast<double>(of) << " %)";
    }
}

void printUnits(std::ostream& output, const ReportData& data) {
    output << padToWidth("unit", 24) << padToWidth("attempts", 10) << padToWidth("first", 14)
           << padToWidth("last", 14) << padToWidth("when, " + zoneAt(data.lastStart), 22) << "failed\n";
    const std::size_t shown = std::min(data.units.size(), unitsInTable);
    for (std::size_t i = 0; i < shown; ++i) {
        const UnitLine& unit = data.units[i];
        output << padToWidth(cell(nameOf(unit)), 23) << ' ' << padToWidth(std::to_string(unit.attempts), 10)
               << padToWidth(cell(unit.first), 14) << padToWidth(cell(unit.last), 14)
               << padToWidth(localTime(unit.lastStarted), 22) << cell(unit.failed) << '\n';
    }
    if (shown < data.units.size()) {
        output << "the newest " << shown << " of " << data.units.size()
               << " units; --csv and --json have them all, --unit has one\n";
    }
}

void printYield(std::ostream& output, const Totals& totals) {
    output << totals.units << " units tested, ";
    printShare(output, totals.passedFirst, totals.firstUnits);
    output << " passed at their first attempt, ";
    printShare(output, totals.passedLast, totals.units);
    output << " at their last; " << totals.retests << " of " << totals.attempts << " attempts were retests\n";
}

void printFailures(std::ostream& output, const ReportData& data) {
    for (std::size_t i = 0; i < std::min(data.items.size(), mostNamed); ++i) {
        const ItemFailures& item = data.items[i];
        output << (i == 0 ? "failed: " : ", ") << cell(item.item) << ' ';
        printShare(output, item.failed, item.tested);
    }
    output << (data.items.empty() ? "" : "\n");
}

void printOthers(std::ostream& output, const ReportData& data) {
    const OtherRuns& others = data.others;
    output << "in no figure: " << others.incomplete << " incomplete, " << others.needsPerson
           << " need a person, " << others.running << " running, " << others.partial
           << " of some items only, " << others.bench << " on a bench\n";
    for (std::size_t i = 0; i < std::min(data.incomplete.size(), mostNamed); ++i) {
        output << "    " << data.incomplete[i].runs << " incomplete: "
               << cell(data.incomplete[i].reason.empty() ? "no reason" : data.incomplete[i].reason) << '\n';
    }
}

void printUnreadable(std::ostream& output, const std::vector<Unreadable>& unreadable) {
    if (!unreadable.empty()) {
        output << unreadable.size() << " can't be read:\n";
    }
    for (std::size_t i = 0; i < std::min(unreadable.size(), mostNamed); ++i) {
        output << "    " << cell(unreadable[i].place) << ": " << cell(unreadable[i].why) << '\n';
    }
    if (unreadable.size() > mostNamed) {
        output << "    and " << unreadable.size() - mostNamed << " more; --json names them all\n";
    }
}

Json unitJson(const UnitLine& unit) {
    return {{"unit", unit.unit.empty() ? Json() : Json(unit.unit)},
            {"attempts", unit.attempts},
            {"first", unit.first},
            {"last", unit.last},
            {"lastStarted", utcTime(unit.lastStarted)},
            {"lastAttempt", unit.lastAttempt},
            {"product", unit.product},
            {"station", unit.station},
            {"failed", unit.failed}};
}

}  // namespace

void printTable(std::ostream& output, const ReportData& data, const std::vector<Unreadable>& unreadable) {
    if (!data.units.empty()) {
        printUnits(output, data);
        output << '\n';
        printYield(output, data.totals);
        printFailures(output, data);
        printOthers(output, data);
    } else {
        output << "no attempts\n";
    }
    printUnreadable(output, unreadable);
}

void printCsv(std::ostream& output, const ReportData& data) {
    writeCsvLine(output, {"unit", "attempts", "first", "last", "last_started", "last_attempt", "product",
                          "station", "failed"});
    for (const UnitLine& unit : data.units) {
        writeCsvLine(output,
                     {unit.unit, std::to_string(unit.attempts), std::string(unit.first),
                      std::string(unit.last), utcTime(unit.lastStarted), unit.lastAttempt,
                      std::string(unit.product), std::string(unit.station), std::string(unit.failed)});
    }
}

void printJson(std::ostream& output, const ReportData& data, const std::vector<Unreadable>& unreadable) {
    Json document = {{"totals", totalsJson(data)}};
    for (const ItemFailures& item : data.items) {
        document["items"].push_back({{"item", item.item}, {"failed", item.failed}, {"tested", item.tested}});
    }
    for (const IncompleteRuns& runs : data.incomplete) {
        document["incomplete"].push_back({{"reason", runs.reason}, {"runs", runs.runs}});
    }
    for (const Unreadable& one : unreadable) {
        document["unreadable"].push_back({{"place", one.place}, {"why", one.why}});
    }
    const std::string head = document.dump(-1, ' ', false, Json::error_handler_t::replace);
    output << head.substr(0, head.size() - 1) << ",\"units\":[";  // unit by unit: there may be many
    for (const UnitLine& unit : data.units) {
        output << (&unit == &data.units.front() ? "\n" : ",\n")
               << unitJson(unit).dump(-1, ' ', false, Json::error_handler_t::replace);
    }
    output << "\n]}\n";
}

}  // namespace station
