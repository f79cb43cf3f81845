#include "record_files.h"

#include <cmath>
#include <pugixml.hpp>
#include <sstream>

namespace station {

namespace {

double milliseconds(double seconds) {
    return std::round(seconds * 1000) / 1000;
}

Json itemJson(const ItemInfo& info, const Item& item) {
    Json json = {{"name", info.name}, {"title", info.title}, {"outcome", outcomeName(item.outcome)}};
    if (!item.reason.empty()) {
        json["reason"] = item.reason;
    }
    json["measured"] = item.measured;
    return json;
}

Json itemsJson(const TestRun& run) {
    Json items = Json::array();
    for (size_t i = 0; i < itemCount; ++i) {
        if (run.has(i)) {
            items.push_back(itemJson(itemInfos[i], run.items[i]));
        }
    }
    return items;
}

Json stepJson(const Step& step) {
    Json lines = Json::array();
    for (const Line& line : step.lines) {
        lines.push_back({{"at", milliseconds(line.at)},
                         {"source", line.source == Source::pipe ? "pipe" : "console"},
                         {"text", line.text}});
    }
    return {{"number", step.number == 0 ? Json() : Json(step.number)},
            {"name", step.name},
            {"title", step.title},
            {"start", milliseconds(step.start)},
            {"durationSeconds", milliseconds(step.end - step.start)},
            {"lines", lines}};
}

// Parts without a number appear only where lines stand in them.
Json stepsJson(const TestRun& run) {
    Json steps = Json::array();
    for (const Step& step : run.steps) {
        if (step.number != 0 || !step.lines.empty()) {
            steps.push_back(stepJson(step));
        }
    }
    return steps;
}

Json toolJson(const AttemptInfo& info, const ToolEnd& end) {
    Json tool = {{"path", nullptr}, {"sha256", nullptr}, {"exitStatus", nullptr}, {"signal", nullptr}};
    if (!info.toolPath.empty()) {
        tool["path"] = info.toolPath;
        tool["sha256"] = info.toolSha256;
    }
    if (end.exitStatus) {
        tool["exitStatus"] = *end.exitStatus;
    }
    if (end.signal != 0) {
        tool["signal"] = end.signal;
    }
    return tool;
}

// needs-person is "skipped" here: the format knows no word for a case that waits.
void addCase(pugi::xml_node suite, const Json& item, double seconds) {
    pugi::xml_node testCase = suite.append_child("testcase");
    const std::string outcome = item["outcome"];
    const std::string reason = item.value("reason", outcome);
    testCase.append_attribute("classname") = "r8";
    testCase.append_attribute("name") = item["name"].get_ref<const std::string&>().c_str();
    testCase.append_attribute("time") = seconds;
    if (outcome != "passed") {
        const char* const element = outcome == "failed"       ? "failure"
                                    : outcome == "incomplete" ? "error"
                                                              : "skipped";
        testCase.append_child(element).append_attribute("message") = reason.c_str();
    }
}

double secondsOf(const TestRun& run, std::string_view name) {
    for (const Step& step : run.steps) {
        if (step.name == name) {
            return milliseconds(step.end - step.start);
        }
    }
    return 0;
}

std::string allLines(const TestRun& run) {
    std::string text;
    for (const Step& step : run.steps) {
        for (const Line& line : step.lines) {
            text += line.text + "\n";
        }
    }
    return text;
}

// The run as a whole is a case too: a torn stream has to show even where every item has its verdict.
Json wholeRun(const TestRun& run) {
    Json item = {{"name", "run"}, {"outcome", run.reasons.empty() ? "passed" : "incomplete"}};
    for (const std::string& reason : run.reasons) {
        item["reason"] = item.value("reason", "") + (item.contains("reason") ? "; " : "") + reason;
    }
    return item;
}

}  // namespace

std::string recordJson(const AttemptInfo& info, const TestRun& run, const ToolEnd& end, uint64_t streamBytes,
                       uint64_t streamRecords, bool torn) {
    const Json record = {
        {"version", recordVersion},
        {"unit", info.unit ? Json(*info.unit) : Json()},
        {"attempt", info.number},
        {"outcome", outcomeName(run.outcome)},
        {"reasons", run.reasons},
        {"started", info.started},
        {"durationSeconds", milliseconds(run.seconds)},
        {"command", info.command},
        {"tool", toolJson(info, end)},
        {"board", run.board},
        {"lostLines", run.lostLines},
        {"stream", {{"bytes", streamBytes}, {"records", streamRecords}, {"torn", torn}}},
        {"items", itemsJson(run)},
        {"steps", stepsJson(run)},
    };
    return record.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string junitXml(const AttemptInfo& info, const TestRun& run) {
    pugi::xml_document document;
    pugi::xml_node suite = document.append_child("testsuites").append_child("testsuite");
    suite.append_attribute("name") = info.unit.value_or("bench").c_str();
    suite.append_attribute("timestamp") = info.started.c_str();
    suite.append_attribute("time") = milliseconds(run.seconds);

    Json items = itemsJson(run);
    items.push_back(wholeRun(run));
    int failures = 0;
    int errors = 0;
    int skipped = 0;
    for (const Json& item : items) {
        const std::string name = item["name"];
        addCase(suite, item, name == "run" ? milliseconds(run.seconds) : secondsOf(run, name));
        failures += item["outcome"] == "failed";
        errors += item["outcome"] == "incomplete";
        skipped += item["outcome"] == "skipped" || item["outcome"] == "needs-person";
    }
    suite.append_attribute("tests") = items.size();
    suite.append_attribute("failures") = failures;
    suite.append_attribute("errors") = errors;
    suite.append_attribute("skipped") = skipped;
    suite.append_child("system-out").text() = allLines(run).c_str();
    std::ostringstream text;
    document.save(text, "  ", pugi::format_default, pugi::encoding_utf8);
    return text.str();
}

}  // namespace station
