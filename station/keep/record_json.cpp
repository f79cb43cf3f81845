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

template <typename Value>
void add(Json& object, const char* key, const std::optional<Value>& value) {
    if (value) {
        object[key] = *value;
    }
}

template <typename Value>
void addUnlessEmpty(Json& object, const char* key, const Value& value) {
    if (!value.empty()) {
        object[key] = value;
    }
}

// One function for each kind of values; an item whose values have none does not compile.
Json valuesJson(const Card& card) {
    Json json = {{"card", card.number}};
    if (card.poe) {
        json["poe"] = true;
    }
    add(json, "link", card.link);
    addUnlessEmpty(json, "error", card.error);
    if (card.fullDuplex) {
        json["duplex"] = *card.fullDuplex ? "full" : "half";
    }
    add(json, "speedMbit", card.speedMbit);
    return json;
}

Json valuesJson(const UsbDisk& disk) {
    return {{"device", disk.device}, {"freeMiB", disk.freeMiB}};
}

Json valuesJson(const Drive& drive) {
    Json json = {{"device", drive.device}};
    add(json, "serial", drive.serial);
    add(json, "model", drive.model);
    add(json, "firmware", drive.firmware);
    add(json, "capacityGiB", drive.capacityGiB);
    return json;
}

Json valuesJson(const ClockPair& pair) {
    Json json = {{"clock", pair.clock}};
    addUnlessEmpty(json, "system", pair.system);
    add(json, "differenceSeconds", pair.differenceSeconds);
    return json;
}

template <typename Value>
void addList(Json& object, const char* key, const std::vector<Value>& values) {
    for (const Value& value : values) {
        object[key].push_back(valuesJson(value));
    }
}

Json valuesJson(const Network& network) {
    Json json = Json::object();
    addList(json, "cards", network.cards);
    return json;
}

Json valuesJson(const Rs485& rs485) {
    Json json = Json::object();
    add(json, "trialsPassed", rs485.trialsPassed);
    add(json, "trialsFailed", rs485.trialsFailed);
    return json;
}

Json valuesJson(const Alarm& alarm) {
    Json json = Json::object();
    add(json, "inputs", alarm.inputs);
    add(json, "outputs", alarm.outputs);
    addUnlessEmpty(json, "mismatches", alarm.mismatches);
    add(json, "checksPassed", alarm.checksPassed);
    add(json, "checksFailed", alarm.checksFailed);
    return json;
}

Json valuesJson(const Usb& usb) {
    Json json = Json::object();
    add(json, "usb3", usb.usb3);
    if (usb.unreadableDisks != 0) {
        json["unreadableDisks"] = usb.unreadableDisks;
    }
    addList(json, "disks", usb.disks);
    add(json, "expected", usb.expected);
    add(json, "found", usb.found);
    return json;
}

Json valuesJson(const BoardDescription& description) {
    Json json = Json::object();
    for (const auto& [label, value] : description.labels) {
        json[label] = value;
    }
    return json;
}

Json valuesJson(const Sata& sata) {
    Json json = Json::object();
    add(json, "expected", sata.expected);
    addList(json, "drives", sata.drives);
    addUnlessEmpty(json, "missing", sata.missing);
    add(json, "found", sata.found);
    return json;
}

Json valuesJson(const ClockTimes& clock) {
    Json json = Json::object();
    addList(json, "pairs", clock.pairs);
    return json;
}

Json valuesJson(const ChipTemperature& temperature) {
    Json json = Json::object();
    add(json, "celsius", temperature.celsius);
    return json;
}

Json boardJson(const Board& board) {
    Json json = Json::object();
    addUnlessEmpty(json, "macs", board.macs);
    addUnlessEmpty(json, "pcb", board.pcb);
    addUnlessEmpty(json, "cpldDate", board.cpldDate);
    addUnlessEmpty(json, "deviceType", board.deviceType);
    return json;
}

Json itemJson(const ItemRow& row, const Item& item, const Json& measured) {
    Json json = {{"name", row.name}, {"title", row.title}, {"outcome", outcomeName(item.outcome)}};
    addUnlessEmpty(json, "reason", item.reason);
    json["measured"] = measured;
    return json;
}

Json itemsJson(const TestRun& run) {
    const auto measured =
        std::apply([](const auto&... values) { return std::array<Json, itemCount>{valuesJson(values)...}; },
                   run.measured);
    Json items = Json::array();
    for (const ItemRow& row : itemRows) {
        if (run.has(row.index)) {
            items.push_back(itemJson(row, run.items[row.index], measured[row.index]));
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

Json linkJson(const LinkInfo& link) {
    Json json = {{"by", link.by}};
    addUnlessEmpty(json, "destination", link.destination);
    addUnlessEmpty(json, "hostKey", link.hostKey);
    addUnlessEmpty(json, "kernel", link.kernel);
    return json;
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
        {"unit", info.unit ? Json(*info.unit) : Json()},
        {"attempt", info.number},
        {"outcome", outcomeName(run.outcome)},
        {"reasons", run.reasons},
        {"started", info.started},
        {"durationSeconds", milliseconds(run.seconds)},
        {"command", info.command},
        {"tool", toolJson(info, end)},
        {"board", boardJson(run.board)},
        {"lostLines", run.lostLines},
        {"stream", {{"bytes", stream.bytes}, {"records", stream.records}, {"torn", stream.torn}}},
        {"items", itemsJson(run)},
        {"steps", stepsJson(run)},
    };
    if (info.link) {
        record["link"] = linkJson(*info.link);
    }
    return record.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace station
