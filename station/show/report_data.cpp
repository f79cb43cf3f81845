#include "station/show/report_data.h"

#include <algorithm>
#include <map>

namespace station {

namespace {

Totals readTotals(Database& database, const SelectedSource& selected) {
    Totals sums;
    database.query(totals(selected.source), selected.parameters, [&](const Row& row) {
        sums = {row.integer(0), row.integer(1), row.integer(2),
                row.integer(3), row.integer(4), row.integer(5)};
    });
    return sums;
}

std::vector<ItemFailures> readItems(Database& database, const SelectedSource& selected) {
    std::vector<ItemFailures> items;
    database.query(itemFailures(selected.source), selected.parameters, [&](const Row& row) {
        if (row.integer(1) != 0) {
            items.push_back({std::string(row.text(0)), row.integer(1), row.integer(2)});
        }
    });
    std::sort(items.begin(), items.end(), [](const ItemFailures& one, const ItemFailures& other) {
        return std::pair(-one.failed, one.item) < std::pair(-other.failed, other.item);
    });
    return items;
}

// Runs are counted by their first reason: what follows from it differs each time.
std::vector<IncompleteRuns> readIncomplete(Database& database, const SelectedSource& selected) {
    std::map<std::string, IncompleteRuns> byReason;
    database.query(incompleteRuns(selected.source), selected.parameters, [&](const Row& row) {
        const std::string reason(row.text(0).substr(0, row.text(0).find('\n')));
        IncompleteRuns& runs = byReason[reason];
        runs.reason = reason;
        runs.runs += row.integer(1);
        runs.latest = std::max(runs.latest, row.integer(2));
    });
    std::vector<IncompleteRuns> sorted;
    for (auto& [reason, runs] : byReason) {
        sorted.push_back(std::move(runs));
    }
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& one, const auto& other) { return one.runs > other.runs; });
    return sorted;
}

// Each attempt counts once, under the first of these that it is.
OtherRuns readOthers(Database& database, const SelectedSource& selected) {
    OtherRuns others;
    database.query(otherRuns(selected.source), selected.parameters, [&](const Row& row) {
        const bool isJudged = row.text(0) == "passed" || row.text(0) == "failed";
        const bool isPartial = row.integer(2) != 0;
        const bool isBench = row.integer(3) != 0;
        if (row.integer(1) != 0) {
            others.running += row.integer(4);
        } else if (isBench || isPartial) {
            (isBench ? others.bench : others.partial) += row.integer(4);
        } else if (!isJudged) {
            (row.text(0) == "needs-person" ? others.needsPerson : others.incomplete) += row.integer(4);
        }
    });
    return others;
}

std::string_view kept(ReportData& data, std::string_view text) {
    const auto found = data.texts.find(text);
    return found != data.texts.end() ? *found : *data.texts.emplace(text).first;
}

void addAttempt(ReportData& data, const Row& row) {
    UnitLine& line = data.units.back();
    const bool isRunning = row.integer(7) != 0;
    const std::string_view outcome = kept(data, isRunning ? "running" : row.text(4));
    line.first = line.attempts == 0 ? outcome : line.first;
    line.last = outcome;
    ++line.attempts;
    line.lastStarted = row.integer(3);
    line.lastAttempt = row.text(1);
    line.product = kept(data, row.text(5));
    line.station = kept(data, row.text(6));
}

// Both answers are ordered by the unit.
void readUnits(ReportData& data, Database& database, const SelectedSource& selected) {
    database.query(attemptList(selected.source), selected.parameters, [&](const Row& row) {
        if (data.units.empty() || data.units.back().unit != row.text(0)) {
            data.units.emplace_back().unit = row.text(0);
        }
        addAttempt(data, row);
        data.firstStart = data.firstStart == 0 ? row.integer(3) : std::min(data.firstStart, row.integer(3));
        data.lastStart = std::max(data.lastStart, row.integer(3));
    });
    auto unit = data.units.begin();
    std::string failed;
    database.query(failedItems(selected.source), selected.parameters, [&](const Row& row) {
        if (unit != data.units.end() && unit->unit != row.text(0)) {
            failed.clear();
            unit = std::find_if(unit, data.units.end(),
                                [&](const UnitLine& line) { return line.unit == row.text(0); });
        }
        if (unit != data.units.end() && unit->lastAttempt == row.text(1)) {
            failed += (failed.empty() ? "" : ", ") + std::string(row.text(2));
            unit->failed = kept(data, failed);
        }
    });
    std::sort(data.units.begin(), data.units.end(), [](const UnitLine& one, const UnitLine& other) {
        return std::pair(other.lastStarted, std::string_view(one.unit)) <
               std::pair(one.lastStarted, std::string_view(other.unit));
    });
}

}  // namespace

ReportData readReport(Database& database, const SelectedSource& selected) {
    ReportData data;
    data.totals = readTotals(database, selected);
    data.others = readOthers(database, selected);
    data.items = readItems(database, selected);
    data.incomplete = readIncomplete(database, selected);
    readUnits(data, database, selected);
    return data;
}

}  // namespace station
