#include "station/store/record_reader.h"

#include <algorithm>
#include <ctime>

#include "station/interpret/text.h"
#include "station/keep/files.h"
#include "station/store/measured_values.h"

namespace station {

namespace {

constexpr int newestVersion = 2;           // of docs/record.schema.json
constexpr int deepestNesting = 16;         // a record needs six; deeper ones only use up the stack
constexpr std::size_t longestKey = 240;    // bytes; the keys of a row have to fit into an index
constexpr std::size_t longestText = 4000;  // bytes

// Steps with all their lines are most of a record and none of our business.
RecordJson parseRecord(const std::string& text) {
    const auto wanted = [](int depth, RecordJson::parse_event_t event, RecordJson& part) {
        if (depth > deepestNesting) {
            throw NotARecord("nested deeper than any record");
        }
        return !(depth == 1 && event == RecordJson::parse_event_t::key && part == "steps");
    };
    try {
        return RecordJson::parse(text, wanted);
    } catch (const RecordJson::exception& error) {
        throw NotARecord(error.what());
    }
}

std::string clipped(const std::string& text, std::size_t most) {
    std::string clean = utf8FromEither(text);
    if (clean.size() > most) {
        while (most > 0 && (static_cast<unsigned char>(clean[most]) & 0xC0) == 0x80) {
            --most;  // not inside a character
        }
        clean.resize(most);
    }
    return clean;
}

std::string keyOf(const RecordJson& object, const char* name) {
    return clipped(textOf(object, name), longestKey);
}

std::string joined(const RecordJson& list, const char* language = nullptr) {
    std::string lines;
    for (const RecordJson& entry : list.is_array() ? list : RecordJson::array()) {
        const std::string line = language != nullptr && entry.is_object() ? textOf(entry, language)
                                 : entry.is_string()                      ? entry.get<std::string>()
                                                                          : "";
        lines += (lines.empty() || line.empty() ? "" : "\n") + line;
    }
    return clipped(lines, longestText);
}

std::optional<std::int64_t> timeOf(const RecordJson& object, const char* name) {
    const std::string text = textOf(object, name);
    std::tm parts = {};
    const char* const rest = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
    if (rest == nullptr || (*rest != 'Z' && *rest != '.')) {
        return std::nullopt;
    }
    return timegm(&parts);
}

const RecordJson& partOf(const RecordJson& object, const char* name) {
    static const RecordJson nothing;
    const auto found = object.find(name);
    return found == object.end() ? nothing : *found;
}

double numberOf(const RecordJson& object, const char* name) {
    const RecordJson& value = partOf(object, name);
    return value.is_number() ? value.get<double>() : 0;
}

// Of what no later change of a record touches, such as a person's decision. A UUID of version 8: our own.
std::string derivedId(const RecordJson& record) {
    std::string identity;
    for (const char* const name : {"unit", "attempt", "started", "durationSeconds", "command", "stream"}) {
        identity += partOf(record, name).dump(-1, ' ', false, RecordJson::error_handler_t::replace) + "\n";
    }
    std::string id = sha256OfText(identity).substr(0, 32);
    id[12] = '8';
    id[16] = '8';
    for (const int at : {20, 16, 12, 8}) {
        id.insert(static_cast<std::size_t>(at), "-");
    }
    return id;
}

// Of a UUID in lower case.
bool isUuid(std::string_view text) {
    constexpr std::string_view form = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
    return std::equal(text.begin(), text.end(), form.begin(), form.end(), [](char character, char kind) {
        return kind == '-' ? character == '-'
                           : std::string_view("0123456789abcdef").find(character) != std::string_view::npos;
    });
}

std::string idOf(const RecordJson& record) {
    const std::string id = textOf(record, "id");
    return isUuid(id) ? id : derivedId(record);
}

StoredItem itemOf(const RecordJson& item) {
    StoredItem stored = {keyOf(item, "name"), keyOf(item, "outcome"), "", ""};
    const RecordJson& reasons = partOf(item, "reasons");
    stored.reasonsZh = joined(reasons, "zh");
    stored.reasonsEn = joined(reasons, "en");
    if (reasons.empty()) {
        stored.reasonsZh = stored.reasonsEn = clipped(textOf(item, "reason"), longestText);
    }
    return stored;
}

void addItems(StoredAttempt& rows, const RecordJson& record) {
    for (const RecordJson& item : partOf(record, "items")) {
        if (!item.is_object() || textOf(item, "name").empty()) {
            throw NotARecord("an item has no name");
        }
        const StoredItem stored = itemOf(item);
        const auto isSame = [&](const StoredItem& other) { return other.name == stored.name; };
        if (std::none_of(rows.items.begin(), rows.items.end(), isSame)) {
            rows.items.push_back(stored);
            addValues(rows.values, stored.name, item);
        }
    }
    for (StoredValue& value : rows.values) {
        value.name = clipped(value.name, longestKey);
        value.measuredText = clipped(value.measuredText, longestText);
        value.expected = clipped(value.expected, longestText);
    }
}

void addStation(StoredAttempt& rows, const RecordJson& record) {
    const RecordJson& station = partOf(record, "station");
    rows.station = keyOf(station, "name");
    rows.stationVersion = keyOf(station, "version");
    rows.fixture = keyOf(station, "fixture");
    rows.person = keyOf(station, "operator");
    rows.lot = keyOf(station, "lot");
    const RecordJson& product = partOf(record, "product");
    rows.product = keyOf(product, "name");
    rows.productSha256 = keyOf(product, "sha256");
}

void addHistory(StoredAttempt& rows, const RecordJson& record) {
    rows.repaired = clipped(textOf(record, "repaired"), longestText);
    for (const RecordJson& gate : partOf(record, "overrides")) {
        rows.overrides += (rows.overrides.empty() ? "" : "\n") +
                          clipped(keyOf(gate, "gate") + " " + textOf(gate, "text"), longestText);
    }
    for (const RecordJson& one : partOf(record, "settled")) {
        rows.settlements.push_back(
            {keyOf(one, "item"), keyOf(one, "outcome"), keyOf(one, "by"), timeOf(one, "at").value_or(0)});
    }
    for (const RecordJson& mac : partOf(partOf(record, "board"), "macs")) {
        const std::string address = mac.is_string() ? clipped(mac.get<std::string>(), longestKey) : "";
        if (!address.empty() && std::find(rows.macs.begin(), rows.macs.end(), address) == rows.macs.end()) {
            rows.macs.push_back(address);
        }
    }
}

void requireRecord(const RecordJson& record) {
    const RecordJson& version = partOf(record, "version");
    if (!version.is_number_integer() || version < 1) {
        throw NotARecord("it has no version");
    }
    if (version > newestVersion) {
        throw NotARecord("it is of version " + version.dump() + ", newer than this station");
    }
    for (const char* const name : {"items", "reasons"}) {
        if (!partOf(record, name).is_array()) {
            throw NotARecord(std::string("it has no ") + name);
        }
    }
}

}  // namespace

StoredAttempt readAttempt(const std::string& text) {
    const RecordJson record = parseRecord(text);
    requireRecord(record);
    StoredAttempt rows;
    rows.unit = keyOf(record, "unit");
    rows.id = idOf(record);
    rows.number = static_cast<std::int64_t>(numberOf(record, "attempt"));
    const std::optional<std::int64_t> started = timeOf(record, "started");
    if (!started) {
        throw NotARecord("its start is no time");
    }
    rows.started = *started;
    rows.ended = timeOf(record, "ended");
    rows.mayRun = record.contains("ended") && !rows.ended;
    rows.seconds = numberOf(record, "durationSeconds");
    rows.outcome = keyOf(record, "outcome");
    rows.partial = record.contains("only");
    rows.reasons = joined(partOf(record, "reasons"));
    addStation(rows, record);
    addItems(rows, record);
    addHistory(rows, record);
    return rows;
}

}  // namespace station
