#include "station/show/report_html.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <map>

#include "station/show/page_json.h"
#include "station/show/page_units.h"
#include "station/show/report_page.h"
#include "station/show/times.h"

namespace station {

namespace {

constexpr std::string_view dataMark = "@DATA@";
constexpr std::int64_t secondsOfADay = 86400;
constexpr std::int64_t daysOfTrends = 60;

// A mail takes 2 MB, and a browser opens them in a second.
constexpr std::size_t bytesOfRows = 700'000;
constexpr std::size_t bytesOfDetails = 600'000;
constexpr std::size_t bytesOfTrends = 300'000;
constexpr std::size_t bytesOfYield = 100'000;
constexpr std::size_t mostListed = 100;   // items, reasons, products, and what can't be read
constexpr std::size_t longestText = 500;  // bytes of a reason

using Series = std::map<std::array<std::string, 3>, Json>;  // by product, item and value

// The first ones, each made by add, and how many there are.
template <typename Things, typename Make>
Json firstOf(const Things& things, const Make& make) {
    Json list = Json::array();
    for (std::size_t i = 0; i < std::min(things.size(), mostListed); ++i) {
        list.push_back(make(things[i]));
    }
    return {{"all", things.size()}, {"list", std::move(list)}};
}

Json zonesOf(const ReportData& data) {
    Json zones = Json::array();
    for (const ZoneOffset& offset : zoneOffsets(data.firstStart, data.lastStart)) {
        zones.push_back({offset.from, offset.seconds, zoneAt(offset.from)});
    }
    return zones;
}

// The newest days, as many as there is room for.
Json yieldOf(Database& database, const SelectedSource& selected) {
    Json days = Json::array();
    std::size_t bytes = 0;
    std::size_t all = 0;
    database.query(yieldByDay(selected.source) + " ORDER BY 1 DESC, 2", selected.parameters,
                   [&](const Row& row) {
                       Json day = {row.integer(0), row.text(1), row.integer(2), row.integer(3)};
                       bytes += row.text(1).size() + 20;
                       ++all;
                       if (bytes < bytesOfYield) {
                           days.push_back(std::move(day));
                       }
                   });
    return {{"all", all}, {"list", std::move(days)}};
}

Json durationsOf(Database& database, const SelectedSource& selected) {
    Json products = Json::array();
    database.query(durations(selected.source) + " ORDER BY 2 DESC, 1", selected.parameters,
                   [&](const Row& row) {
                       products.push_back({row.text(0), row.integer(1), row.number(2), row.number(3)});
                   });
    const std::vector<Json> list = products;
    return firstOf(list, [](const Json& product) { return product; });
}

void addDay(Json& series, const Row& row) {
    if (series.is_null()) {
        series = {{"outside", 0}, {"minimum", nullptr}, {"maximum", nullptr}, {"days", Json::array()}};
    }
    series["outside"] = series["outside"].get<std::int64_t>() + row.integer(8);
    if (!row.isNull(9)) {
        const bool isFirst = series["minimum"].is_null();
        series["minimum"] =
            isFirst ? row.number(9) : std::min(series["minimum"].get<double>(), row.number(9));
    }
    if (!row.isNull(10)) {
        const bool isFirst = series["maximum"].is_null();
        series["maximum"] =
            isFirst ? row.number(10) : std::max(series["maximum"].get<double>(), row.number(10));
    }
    series["days"].push_back(
        {row.integer(3), row.integer(4), row.number(5), row.number(6), row.number(7), row.integer(8)});
}

// What was outside its limits most often comes first, what has no limits last.
bool comesFirst(const Series::value_type* one, const Series::value_type* other) {
    const auto rank = [](const Json& series) {
        const bool hasLimits = !series["minimum"].is_null() || !series["maximum"].is_null();
        return std::pair(-series["outside"].get<std::int64_t>(), hasLimits ? 0 : 1);
    };
    return std::pair(rank(one->second), one->first) < std::pair(rank(other->second), other->first);
}

Json trendsOf(Database& database, const Selection& selection, const std::string& day,
              std::int64_t lastStart) {
    Selection newest = selection;
    newest.since = std::max(selection.since.value_or(0), lastStart - daysOfTrends * secondsOfADay);
    SelectedSource selected = selectedSource(newest);
    selected.source.day = day;
    Series all;
    database.query(valueTrend(selected.source) + " ORDER BY 4", selected.parameters, [&](const Row& row) {
        addDay(all[{std::string(row.text(0)), std::string(row.text(1)), std::string(row.text(2))}], row);
    });
    std::vector<const Series::value_type*> ordered;
    for (const Series::value_type& one : all) {
        ordered.push_back(&one);
    }
    std::sort(ordered.begin(), ordered.end(), comesFirst);
    Json list = Json::array();
    std::size_t bytes = 0;
    for (const Series::value_type* const one : ordered) {
        Json series = {{"product", one->first[0]}, {"item", one->first[1]}, {"value", one->first[2]}};
        series.update(one->second);
        bytes += pageJson(series).size();
        if (bytes > bytesOfTrends) {
            break;
        }
        list.push_back(std::move(series));
    }
    return {{"all", ordered.size()}, {"since", *newest.since}, {"list", std::move(list)}};
}

// What the reader has asked for.
Json selectionOf(const Selection& selection) {
    return {{"since", selection.since ? Json(*selection.since) : Json()},
            {"product", selection.product},
            {"unit", selection.unit},
            {"station", selection.station},
            {"item", selection.item}};
}

Json figuresOf(Database& database, const PageSubject& subject) {
    const ReportData& data = subject.data;
    SelectedSource selected = selectedSource(subject.selection);
    selected.source.day = localDay(data.firstStart, data.lastStart);
    Json figures = {{"made", std::int64_t{std::time(nullptr)}}, {"zones", zonesOf(data)}};
    figures["folders"] = subject.folders ? Json(*subject.folders) : Json();
    figures["selection"] = selectionOf(subject.selection);
    figures["totals"] = totalsJson(data);
    figures["items"] = firstOf(data.items, [](const ItemFailures& item) {
        return Json::array({item.item, item.failed, item.tested});
    });
    figures["incomplete"] = firstOf(data.incomplete, [](const IncompleteRuns& runs) {
        return Json::array({runs.reason.substr(0, longestText), runs.runs, runs.latest});
    });
    figures["unreadable"] = firstOf(subject.unreadable, [](const Unreadable& one) {
        return Json::array({one.place, one.why.substr(0, longestText)});
    });
    figures["yield"] = yieldOf(database, selected);
    figures["durations"] = durationsOf(database, selected);
    figures["trends"] = trendsOf(database, subject.selection, selected.source.day, data.lastStart);
    figures["units"] = data.units.size();
    return figures;
}

}  // namespace

std::string htmlPage(Database& database, const PageSubject& subject) {
    const std::vector<const UnitLine*> units = inOrderOfAttention(subject.data.units);
    PageTexts texts;
    const PagePart rows = unitRows(units, texts, bytesOfRows);
    const PagePart details = unitDetails(database, units, bytesOfDetails);
    const std::string data = "{\"figures\":" + pageJson(figuresOf(database, subject)) +
                             ",\n\"texts\":" + texts.list() + ",\n\"rows\":" + rows.json +
                             ",\n\"details\":" + details.json + "}";
    std::string page = reportPage;
    return page.replace(page.find(dataMark), dataMark.size(), data);
}

}  // namespace station
