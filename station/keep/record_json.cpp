#include "station/keep/record_json.h"

#include <cmath>
#include <utility>

#include "station/interpret/items.h"
#include "station/keep/json.h"

namespace station {

namespace {

double milliseconds(double seconds) {
    return std::round(seconds * 1000) / 1000;
}

template <typename Values>
Json valuesJson(const Values& values);

Json listedJson(const std::string& text) {
    return text;
}

template <typename Values>
Json listedJson(const Values& values) {
    return valuesJson(values);
}

// The kinds of values that an item can have, see station/interpret/measured.h.
void add(Json& object, const std::string& key, const std::string& text) {
    object[key] = text;
}

void add(Json& object, const std::string& key, std::int64_t number) {
    object[key] = number;
}

void add(Json& object, const std::string& key, bool flag) {
    if (flag) {
        object[key] = true;
    }
}

template <typename Value>
void add(Json& object, const std::string& key, const std::optional<Value>& value) {
    if (value) {
        object[key] = *value;
    }
}

template <typename Value>
void add(Json& object, const std::string& key, const std::vector<Value>& list) {
    for (const Value& value : list) {
        object[key].push_back(listedJson(value));
    }
}

template <typename Values>
Json valuesJson(const Values& values) {
    Json json = Json::object();
    values.fields([&json](const std::string& key, const auto& value) { add(json, key, value); });
    return json;
}

void addUnlessEmpty(Json& object, const char* key, const std::string& text) {
    if (!text.empty()) {
        object[key] = text;
    }
}

Json boardJson(const Board& board) {
    Json json = Json::object();
    add(json, "macs", board.macs);
    addUnlessEmpty(json, "pcb", board.pcb);
    addUnlessEmpty(json, "cpldDate", board.cpldDate);
    addUnlessEmpty(json, "deviceType", board.deviceType);
    return json;
}

Json valueJson(const Value& value) {
    return std::visit([](const auto& one) { return Json(one); }, value);
}

Json wordsJson(const std::vector<Words>& reasons) {
    Json json = Json::array();
    for (const Words& words : reasons) {
        json.push_back({{"zh", words.zh}, {"en", words.en}});
    }
    return json;
}

Json checkJson(const Check& check) {
    Json json = {{"value", check.value}, {"measured", check.measured ? valueJson(*check.measured) : Json()}};
    for (const auto& [key, limit] : {std::pair("minimum", &check.limit.minimum),
                                     {"maximum", &check.limit.maximum},
                                     {"expected", &check.limit.expected}}) {
        if (*limit) {
            json[key] = valueJson(**limit);
        }
    }
    add(json, "pattern", check.limit.pattern);
    json["passed"] = check.passed;
    return json;
}

Json itemJson(const Item& item, const Json& measured) {
    Json json = {
        {"name", item.row->name}, {"title", item.row->title}, {"outcome", outcomeName(item.outcome)}};
    addUnlessEmpty(json, "reason", item.reason);
    json["measured"] = measured;
    if (!item.reasons.empty()) {
        json["reasons"] = wordsJson(item.reasons);
    }
    for (const Check& check : item.checks) {
        json["checks"].push_back(checkJson(check));
    }
    return json;
}

Json itemsJson(const TestRun& run) {
    const auto measured =
        std::apply([](const auto&... values) { return std::array<Json, itemCount>{valuesJson(values)...}; },
                   run.measured);
    Json items = Json::array();
    for (std::size_t i = 0; i < itemCount; ++i) {
        if (run.items[i].isOfThisBoard()) {
            items.push_back(itemJson(run.items[i], measured[i]));
        }
    }
    for (const TestRun& single : run.singles) {
        for (Json& item : itemsJson(single)) {
            items.push_back(std::move(item));
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
    for (const TestRun& single : run.singles) {
        steps.push_back(stepJson(single.steps.front()));
    }
    return steps;
}

Json settledJson(const TestRun& run) {
    Json settled = Json::array();
    for (const Settlement& one : run.settled) {
        settled.push_back(
            {{"item", one.item}, {"outcome", outcomeName(one.outcome)}, {"by", one.by}, {"at", one.at}});
    }
    return settled;
}

Json linkJson(const LinkInfo& link) {
    Json json = {{"by", link.by}};
    addUnlessEmpty(json, "destination", link.destination);
    addUnlessEmpty(json, "hostKey", link.hostKey);
    addUnlessEmpty(json, "kernel", link.kernel);
    return json;
}

Json stationJson(const StationInfo& station) {
    Json json = {{"version", station.version}};
    addUnlessEmpty(json, "name", station.name);
    addUnlessEmpty(json, "fixture", station.fixture);
    addUnlessEmpty(json, "operator", station.operatorName);
    addUnlessEmpty(json, "lot", station.lot);
    return json;
}

Json productJson(const std::optional<ProductInfo>& product) {
    return product ? Json({{"name", product->name}, {"sha256", product->sha256}}) : Json();
}

Json toolJson(const AttemptInfo& info, const ToolEnd& end) {
    Json tool = {{"path", nullptr}, {"sha256", nullptr}, {"exitStatus", nullptr}, {"signal", nullptr}};
    addUnlessEmpty(tool, "path", info.toolPath);
    addUnlessEmpty(tool, "sha256", info.toolSha256);
    if (end.exitStatus) {
        tool["exitStatus"] = *end.exitStatus;
    }
    if (end.signal != 0) {
        tool["signal"] = end.signal;
    }
    return tool;
}

}  // namespace

std::string recordJson(const AttemptInfo& info, const TestRun& run, const ToolEnd& end,
                       const StreamCounts& stream) {
    Json record = {
        {"version", recordVersion},
        {"id", info.id},
        {"unit", info.unit ? Json(*info.unit) : Json()},
        {"attempt", info.number},
        {"outcome", outcomeName(run.outcome)},
        {"reasons", run.reasons},
        {"started", info.started},
        {"ended", info.ended.empty() ? Json() : Json(info.ended)},
        {"durationSeconds", milliseconds(run.seconds)},
        {"station", stationJson(info.station)},
        {"product", productJson(info.product)},
        {"command", info.command},
        {"tool", toolJson(info, end)},
        {"board", boardJson(run.board)},
        {"lostLines", run.lostLines},
        {"stream", {{"bytes", stream.bytes}, {"records", stream.records}, {"torn", stream.torn}}},
        {"items", itemsJson(run)},
        {"steps", stepsJson(run)},
    };
    addUnlessEmpty(record, "repaired", info.repaired);
    for (const GateOverride& one : info.overrides) {
        record["overrides"].push_back({{"gate", one.gate}, {"option", one.option}, {"text", one.text}});
    }
    if (info.historyFrom) {
        record["history"] = info.historyFrom();
    }
    if (!info.only.empty()) {
        record["only"] = info.only;
    }
    if (!run.settled.empty()) {
        record["settled"] = settledJson(run);
    }
    if (info.link) {
        record["link"] = linkJson(*info.link);
    }
    return record.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace station
