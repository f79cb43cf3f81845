#include "report_page.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>

#include "live_view.h"
#include "report.h"
#include "run_interpreter.h"

namespace station {

namespace {

constexpr size_t daysShown = 60;
constexpr int dayWidth = 12;
constexpr int chartHeight = 48;

constexpr const char* pageHead = R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><title>Board tests</title>
<meta name="viewport" content="width=device-width, initial-scale=1">
<style>
body{font:15px/1.45 system-ui,"Noto Sans CJK SC",sans-serif;color:#1d2733;background:#f5f6f8;margin:0}
main{max-width:62rem;margin:0 auto;padding:1.5rem 1rem 4rem}
h1{font-size:1.6rem;margin:.2rem 0 1.2rem}h2{font-size:1.15rem;margin:2rem 0 .6rem}
.tiles{display:flex;flex-wrap:wrap;gap:.8rem}
.tile{background:#fff;border:1px solid #dde1e7;border-radius:8px;padding:.7rem 1.1rem;min-width:8.5rem}
.tile b{display:block;font-size:1.6rem;line-height:1.2}.tile span,.quiet{color:#5d6b7b}
table{border-collapse:collapse;width:100%;background:#fff;border:1px solid #dde1e7;border-radius:8px;margin-bottom:.6rem}
th,td{text-align:left;padding:.4rem .75rem;border-top:1px solid #e8ebef;vertical-align:top}
th{color:#5d6b7b;font-weight:500;border-top:0}a{color:#1657a8;text-decoration:none}a:hover{text-decoration:underline}
.outcome{white-space:nowrap;font-weight:600}.passed{color:#11753b}.failed{color:#b3201f}
.skipped{color:#5d6b7b;font-weight:400}.needs-person{color:#8a5a00}.incomplete{color:#7a2a8c}
details{background:#fff;border:1px solid #dde1e7;border-radius:8px;margin:.8rem 0;padding:.6rem 1rem}
details details{border:0;margin:0;padding:.15rem 0}summary{cursor:pointer}
pre{margin:.3rem 0 .6rem;padding:.6rem .8rem;background:#f5f6f8;border-radius:6px;white-space:pre-wrap;
overflow-wrap:anywhere;font:13px/1.5 ui-monospace,"Noto Sans Mono CJK SC",monospace}
.measured{color:#5d6b7b;font-size:13px;overflow-wrap:anywhere}svg{display:block;background:#fff}
section.unit{display:none}section.unit:target{display:block}
body:has(section.unit:target) .overview{display:none}
</style></head><body><main>
)";

std::string outcomeHtml(const std::string& name) {
    Outcome outcome = Outcome::incomplete;
    for (const Outcome known : {Outcome::passed, Outcome::failed, Outcome::skipped, Outcome::needsPerson}) {
        outcome = outcomeName(known) == name ? known : outcome;
    }
    const std::string shown(outcomeName(outcome));
    return "<span class=\"outcome " + shown + "\">" + escapeHtml(lookOf(outcome).sign) + " " + shown +
           "</span>";
}

std::string numberOf(const Json& object, const char* key) {
    const Json value = object.value(key, Json());
    if (!value.is_number()) {
        return "";
    }
    char text[32];
    (void)snprintf(text, sizeof text, "%.1f", value.get<double>());
    return text;
}

std::string titleHtml(const Json& object) {
    const std::string title = textOf(object, "title");
    const std::string_view english = englishName(textOf(object, "name"));
    return escapeHtml(title) +
           (english.empty() ? "" : " <span class=quiet>" + std::string(english) + "</span>");
}

// "cards: [{card: 1, link: true}]" without quotation marks: for people.
std::string measuredText(const Json& value) {
    if (!value.is_structured()) {
        return value.is_string() ? value.get<std::string>() : value.dump();
    }
    std::string text;
    for (const auto& [key, inner] : value.items()) {
        text += text.empty() ? "" : inner.is_structured() ? "; " : ", ";
        text += (value.is_object() ? key + " " : "") + measuredText(inner);
    }
    return text;
}

std::string itemRows(const Json& items) {
    std::string html = "<table><tr><th>Item<th>Outcome<th>Measured</tr>\n";
    for (const Json& item : items) {
        html += "<tr><td>" + titleHtml(item) + "<td>" + outcomeHtml(textOf(item, "outcome")) + "<td>" +
                escapeHtml(textOf(item, "reason")) + "<div class=measured>" +
                escapeHtml(measuredText(item.value("measured", Json::object()))) + "</div></tr>\n";
    }
    return html + "</table>\n";
}

std::string stepHtml(const Json& step) {
    const Json number = step.value("number", Json());
    std::string html = "<details><summary>" + (number.is_number() ? number.dump() + ". " : "") +
                       titleHtml(step) + " <span class=quiet>" + numberOf(step, "durationSeconds") +
                       " s</span></summary><pre>";
    for (const Json& line : step.value("lines", Json::array())) {
        html += escapeHtml(textOf(line, "text")) + "\n";
    }
    return html + "</pre></details>\n";
}

std::string attemptHtml(const Json& attempt, bool open) {
    std::string html = std::string("<details") + (open ? " open" : "") + "><summary>Attempt " +
                       attempt["attempt"].dump() + "  " + outcomeHtml(textOf(attempt, "outcome")) +
                       " <span class=quiet>" + escapeHtml(textOf(attempt, "started")) + ", " +
                       numberOf(attempt, "durationSeconds") + " s</span></summary>\n";
    for (const Json& reason : attempt.value("reasons", Json::array())) {
        html += "<p class=incomplete>" + escapeHtml(measuredText(reason)) + "</p>\n";
    }
    html +=
        "<p class=measured>" + escapeHtml(measuredText(attempt.value("board", Json::object()))) + "</p>\n";
    html += itemRows(attempt["items"]);
    for (const Json& step : attempt["steps"]) {
        html += stepHtml(step);
    }
    return html + "</details>\n";
}

std::string unitHtml(const UnitHistory& unit, size_t index) {
    std::string html = "<section class=unit id=unit" + std::to_string(index) +
                       "><p><a href=\"#\">All units</a></p><h1>" + escapeHtml(unit.name) + "</h1>\n";
    for (size_t i = unit.attempts.size(); i-- > 0;) {
        html += attemptHtml(unit.attempts[i], i + 1 == unit.attempts.size());
    }
    return html + "</section>\n";
}

std::string unitTable(const std::vector<UnitHistory>& units) {
    std::string html = "<h2>Units</h2><table><tr><th>Unit<th>Attempts<th>First<th>Last<th>When (UTC)</tr>\n";
    for (size_t i = 0; i < units.size(); ++i) {
        const UnitHistory& unit = units[i];
        html += "<tr><td><a href=\"#unit" + std::to_string(i) + "\">" + escapeHtml(unit.name) + "</a><td>" +
                std::to_string(unit.attempts.size()) + "<td>" +
                outcomeHtml(textOf(unit.attempts.front(), "outcome")) + "<td>" +
                outcomeHtml(textOf(unit.attempts.back(), "outcome")) + "<td>" +
                escapeHtml(textOf(unit.attempts.back(), "started")) + "</tr>\n";
    }
    return html + "</table>\n";
}

std::string tile(const std::string& figure, const std::string& label) {
    return "<div class=tile><b>" + figure + "</b><span>" + label + "</span></div>\n";
}

std::string tiles(const std::vector<UnitHistory>& units) {
    const Yield yield = yieldOf(units);
    const auto share = [&](size_t count) {
        char text[32] = "–";
        if (yield.units != 0) {
            (void)snprintf(text, sizeof text, "%.1f %%",
                           100.0 * static_cast<double>(count) / static_cast<double>(yield.units));
        }
        return std::string(text);
    };
    size_t attempts = 0;
    for (const UnitHistory& unit : units) {
        attempts += unit.bench ? 0 : unit.attempts.size();
    }
    return "<div class=tiles>\n" + tile(std::to_string(yield.units), "units") +
           tile(std::to_string(attempts), "attempts") + tile(share(yield.passedFirst), "first-pass yield") +
           tile(share(yield.passedLast), "passed in the end") + "</div>\n";
}

// Failures per day of each item that ever failed.
struct Failures {
    std::set<std::string> days;  // on which anything was tested
    std::map<std::string, std::map<std::string, int>> perItem;
};

Failures countFailures(const std::vector<UnitHistory>& units) {
    Failures failures;
    for (const UnitHistory& unit : units) {
        for (const Json& attempt : unit.attempts) {
            const std::string day = textOf(attempt, "started").substr(0, 10);
            if (unit.bench || day.empty()) {
                continue;
            }
            failures.days.insert(day);
            for (const Json& item : attempt["items"]) {
                if (textOf(item, "outcome") == "failed") {
                    ++failures.perItem[textOf(item, "name")][day];
                }
            }
        }
    }
    while (failures.days.size() > daysShown) {
        failures.days.erase(failures.days.begin());
    }
    return failures;
}

std::string bars(const std::set<std::string>& days, const std::map<std::string, int>& counts, int most) {
    const std::string width = std::to_string(dayWidth * static_cast<int>(std::max<size_t>(days.size(), 20)));
    std::string svg = "<svg width=" + width + " height=" + std::to_string(chartHeight) + " role=img>";
    svg += "<path d=\"M0 " + std::to_string(chartHeight) + ".5H" + width +
           "\" stroke=\"#c6ccd4\" stroke-width=2 />";
    int x = 0;
    for (const std::string& day : days) {
        const auto found = counts.find(day);
        if (found != counts.end()) {
            const int height = std::max(2, found->second * chartHeight / most);
            svg += "<rect x=" + std::to_string(x + 1) + " y=" + std::to_string(chartHeight - height) +
                   " width=" + std::to_string(dayWidth - 3) + " height=" + std::to_string(height) +
                   " rx=2 fill=\"#b3201f\"><title>" + escapeHtml(day) + ": " + std::to_string(found->second) +
                   "</title></rect>";
        }
        x += dayWidth;
    }
    return svg + "</svg>";
}

std::string failuresHtml(const std::vector<UnitHistory>& units) {
    const Failures failures = countFailures(units);
    std::string html = "<h2>Failures per item over time</h2>\n";
    if (failures.perItem.empty()) {
        return html + "<p class=quiet>No item has failed.</p>\n";
    }
    html += "<table><tr><th>Item<th>Failures<th>Most a day<th>" + escapeHtml(*failures.days.begin()) +
            " to " + escapeHtml(*failures.days.rbegin()) + ", one bar for each day with tests</tr>\n";
    int mostOfAll = 0;
    for (const auto& [name, counts] : failures.perItem) {
        for (const auto& [day, count] : counts) {
            mostOfAll = std::max(mostOfAll, count);
        }
    }
    for (const auto& [name, counts] : failures.perItem) {
        int total = 0;
        int most = 0;
        for (const auto& [day, count] : counts) {
            total += count;
            most = std::max(most, count);
        }
        html += "<tr><td>" + escapeHtml(englishName(name).empty() ? name : englishName(name)) + "<td>" +
                std::to_string(total) + "<td>" + std::to_string(most) + "<td>" +
                bars(failures.days, counts, mostOfAll) + "</tr>\n";
    }
    return html + "</table>\n";
}

}  // namespace

std::string textOf(const Json& object, const char* key) {
    if (!object.is_object()) {
        return "";
    }
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

std::string escapeHtml(std::string_view text) {
    std::string html;
    for (const char character : text) {
        switch (character) {
            case '&':
                html += "&amp;";
                break;
            case '<':
                html += "&lt;";
                break;
            case '>':
                html += "&gt;";
                break;
            case '"':
                html += "&quot;";
                break;
            case '\'':
                html += "&#39;";
                break;
            default:
                html += character;
        }
    }
    return html;
}

std::string htmlPage(const std::vector<UnitHistory>& units) {
    std::string html = pageHead;
    html += "<div class=overview><h1>Board tests</h1>\n" + tiles(units) + failuresHtml(units) +
            unitTable(units) + "</div>\n";
    for (size_t i = 0; i < units.size(); ++i) {
        html += unitHtml(units[i], i);
    }
    return html + "</main></body></html>\n";
}

}  // namespace station
