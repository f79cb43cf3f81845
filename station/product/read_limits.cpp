#include "station/product/read_limits.h"

#include <algorithm>

#include "station/product/value_rows.h"

namespace station {

namespace {

using host::Section;
using MaybeValue = std::optional<Value>;

bool isDate(const std::string& text) {
    return matchesPattern("[0-9]{4}-(0[1-9]|1[0-2])-(0[1-9]|[12][0-9]|3[01])", text);
}

// Below 0 there is nothing to count: such a limit would hold for all or for none.
bool isBelowCounts(const ValueRow& row, const Value& value) {
    const auto* const number = std::get_if<std::int64_t>(&value);
    return number != nullptr && *number < 0 && row.key != "differenceSeconds" && row.key != "celsius";
}

// A value of the kind that the measured one has, or nothing could be inside.
void requireKind(const Section& section, const std::string& key, const ValueRow& row,
                 const MaybeValue& value) {
    constexpr std::pair<ValueKind, const char*> kinds[] = {{ValueKind::number, "is a whole number"},
                                                           {ValueKind::flag, "is true or false"},
                                                           {ValueKind::text, "is a text"},
                                                           {ValueKind::date, "is a date like 2014-05-23"}};
    if (!value) {
        return;
    }
    const bool fits = row.kind == ValueKind::number ? std::holds_alternative<std::int64_t>(*value)
                      : row.kind == ValueKind::flag ? std::holds_alternative<bool>(*value)
                                                    : std::holds_alternative<std::string>(*value);
    if (!fits || (row.kind == ValueKind::date && !isDate(std::get<std::string>(*value)))) {
        const auto* const kind = std::find_if(std::begin(kinds), std::end(kinds),
                                              [&row](const auto& one) { return one.first == row.kind; });
        section.fail(key, kind->second);
    }
    if (isBelowCounts(row, *value)) {
        section.fail(key, "is not below 0");
    }
}

// { least = 1, most = 3 } or { pattern = "..." }
Limit readRange(Section& section, const ValueRow& row) {
    Limit limit;
    section.scalar("least", limit.minimum);
    section.scalar("most", limit.maximum);
    requireKind(section, "least", row, limit.minimum);
    requireKind(section, "most", row, limit.maximum);
    limit.pattern = readPattern(section, "pattern");
    const bool isRange = limit.minimum || limit.maximum;
    if (isRange && row.kind != ValueKind::number && row.kind != ValueKind::date) {
        section.fail(limit.minimum ? "least" : "most", "limits numbers and dates only");
    }
    if (limit.pattern && row.kind != ValueKind::text) {
        section.fail("pattern", "describes texts only");
    }
    if (limit.minimum && limit.maximum && *limit.minimum > *limit.maximum) {
        section.fail("least", "is more than the most");
    }
    if (!isRange && !limit.pattern) {
        section.fail("least", "is missing, and so are most and pattern");
    }
    return limit;
}

void readValue(Section& section, const ValueRow& row, const std::string& element, ItemLimits& limits) {
    const std::string key(row.key);
    if (!section.has(key)) {
        return;
    }
    Limit limit;
    if (section.isTable(key)) {
        section.each(key, [&](Section& range) { limit = readRange(range, row); });
    } else {
        section.scalar(key, limit.expected);
        requireKind(section, key, row, limit.expected);
    }
    limits.values.push_back({element, key, limit});
}

std::string readIdentity(Section& section, const ElementRow& row) {
    const std::string id(row.id);
    if (!section.has(id)) {
        section.fail(id, "is missing: which " + std::string(row.key) + "?");
    }
    if (row.id == "card") {
        std::uint8_t number = 0;
        section.number(id, number);
        return "card" + std::to_string(number);
    }
    std::string device;
    section.text(id, device);
    if (!matchesPattern("[a-z0-9]+", device)) {
        section.fail(id, "is a name without \"/dev/\", such as \"sda\"");
    }
    return device;
}

void readElements(Section& section, const ElementRow& row, ItemLimits& limits) {
    section.each(std::string(row.key), [&](Section& part) {
        const std::string element = readIdentity(part, row);
        if (std::find(limits.elements.begin(), limits.elements.end(), element) != limits.elements.end()) {
            part.fail(std::string(row.id), "is there twice");
        }
        limits.elements.push_back(element);
        for (const ValueRow& value : valueRows()) {
            if (value.item == row.item && value.list == row.list) {
                readValue(part, value, element, limits);
            }
        }
    });
}

}  // namespace

std::optional<std::string> readPattern(Section& section, const std::string& key) {
    if (!section.has(key)) {
        return std::nullopt;
    }
    std::string pattern;
    section.text(key, pattern);
    if (pattern.empty() || !isPattern(pattern)) {
        section.fail(key, "is no regular expression");
    }
    return pattern;
}

ItemLimits readItemLimits(Section& section, const std::string& item) {
    ItemLimits limits;
    section.flag("tested", limits.tested);
    if (section.has("seconds")) {
        std::uint32_t seconds = 0;
        section.number("seconds", seconds);
        limits.seconds = seconds;
    }
    for (const ValueRow& row : valueRows()) {
        if (row.item == item) {
            readValue(section, row, "", limits);
        }
    }
    for (const ElementRow& row : elementRows()) {
        if (row.item == item) {
            readElements(section, row, limits);
        }
    }
    if (!limits.tested && (limits.seconds || !limits.values.empty() || !limits.elements.empty())) {
        section.fail("tested", "is false: what is not tested has no limits");
    }
    return limits;
}

}  // namespace station
