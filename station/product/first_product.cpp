#include "station/product/first_product.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "station/interpret/items.h"
#include "station/product/checks.h"
#include "station/product/value_rows.h"

namespace station {

namespace {

// A text of TOML: what a board prints may hold anything but control characters.
std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        if (character == '"' || character == '\\') {
            result += '\\';
        }
        char escaped[8];
        (void)snprintf(escaped, sizeof escaped, "\\u%04x", code);
        result += code < ' ' || code == 0x7F ? std::string(escaped) : std::string(1, character);
    }
    return result + "\"";
}

std::string tomlOf(const Value& value, ValueKind kind) {
    if (const auto* const number = std::get_if<std::int64_t>(&value)) {
        return std::to_string(*number);
    }
    if (const bool* const flag = std::get_if<bool>(&value)) {
        return *flag ? "true" : "false";
    }
    const auto& text = std::get<std::string>(value);
    return kind == ValueKind::date ? text : quoted(text);
}

// What was measured for the row, of all elements.
std::vector<Value> measuredOf(const TestRun& run, const Item& item, const ValueRow& row) {
    ItemLimits limits;
    limits.values.push_back({"", std::string(row.key), {}});
    std::vector<Value> values;
    for (const ElementCheck& one : checksOf(run, item, limits, false)) {
        if (one.check.measured) {
            values.push_back(*one.check.measured);
        }
    }
    return values;
}

// Of differences the good one is none, whatever this unit has.
std::string near(const ValueRow& row, std::vector<Value> values) {
    constexpr std::int64_t usualMargin = 2;
    constexpr std::int64_t degrees = 15;
    const bool isDifference = row.item == "clock";
    const std::int64_t margin = isDifference ? 0 : degrees;
    if (isDifference) {
        values.insert(values.end(), {Value(-usualMargin), Value(usualMargin)});
    }
    const auto [low, high] = std::minmax_element(values.begin(), values.end());
    return "{ least = " + std::to_string(std::get<std::int64_t>(*low) - margin) +
           ", most = " + std::to_string(std::get<std::int64_t>(*high) + margin) + " }";
}

// Nine tenths of a free space that is never twice the same; anything else as it was.
std::string atLeast(const ValueRow& row, const std::vector<Value>& values) {
    Value low = *std::min_element(values.begin(), values.end());
    if (row.key == "freeMiB") {
        low = std::get<std::int64_t>(low) * 9 / 10;
    }
    return "{ least = " + tomlOf(low, row.kind) + " }";
}

bool hasKind(const ValueRow& row, const Value& value) {
    const std::size_t index = row.kind == ValueKind::number ? 0 : row.kind == ValueKind::flag ? 1 : 2;
    return value.index() == index &&
           (row.kind != ValueKind::date || matchesPattern("[0-9]{4}-(0[1-9]|1[0-2])-(0[1-9]|[12][0-9]|3[01])",
                                                          std::get<std::string>(value)));
}

// The limit; empty where the unit has nothing that every other one would have as well.
std::string suggestionFor(const ValueRow& row, const std::vector<Value>& values) {
    const bool fits =
        std::all_of(values.begin(), values.end(), [&row](const Value& value) { return hasKind(row, value); });
    if (values.empty() || !fits) {
        return "";
    }
    switch (row.suggestion) {
        case Suggestion::atLeast:
            return atLeast(row, values);
        case Suggestion::atMost:
            return "{ most = " + tomlOf(*std::max_element(values.begin(), values.end()), row.kind) + " }";
        case Suggestion::near:
            return near(row, values);
        case Suggestion::same:
            return std::all_of(values.begin(), values.end(),
                               [&](const Value& one) { return one == values[0]; })
                       ? tomlOf(values[0], row.kind)
                       : "";
        default:
            return "";
    }
}

std::string elementTables(const TestRun& run, const Item& item) {
    std::string text;
    if (item.row == &Network::row) {
        for (const Card& card : run.values<Network>().cards) {
            text += card.poe ? "\n[[network.card]]\ncard = " + std::to_string(card.number) + "\npoe = true\n"
                             : "";
        }
    }
    if (item.row == &Sata::row) {
        for (const Drive& drive : run.values<Sata>().drives) {
            const std::string device = drive.device.substr(drive.device.rfind('/') + 1);
            text += "\n[[sata.drive]]\ndevice = " + quoted(device) + "\n";
            text += drive.capacityGiB
                        ? "capacityGiB = { least = " + std::to_string(*drive.capacityGiB) + " }\n"
                        : "";
        }
    }
    return text;
}

std::string itemTable(const TestRun& run, const Item& item) {
    std::string text = "\n# " + std::string(item.row->title) + ", " + std::string(item.row->english) + "\n[" +
                       std::string(item.row->name) + "]\n";
    if (item.outcome == Outcome::skipped) {
        return text + "tested = false  # the unit has none\n";
    }
    for (const ValueRow& row : valueRows()) {
        if (row.item == item.row->name) {
            const std::string limit = suggestionFor(row, measuredOf(run, item, row));
            text += limit.empty() ? "" : std::string(row.key) + " = " + limit + "\n";
        }
    }
    return text + elementTables(run, item);
}

// Digits stay as many, anything else stays as it is.
std::string serialPattern(const std::string& unit) {
    std::string pattern;
    for (std::size_t i = 0; i < unit.size();) {
        const std::size_t digits = std::min(unit.find_first_not_of("0123456789", i), unit.size()) - i;
        if (digits != 0) {
            pattern += "[0-9]{" + std::to_string(digits) + "}";
            i += digits;
        } else {
            const bool isPlain = isalpha(static_cast<unsigned char>(unit[i])) != 0 ||
                                 static_cast<unsigned char>(unit[i]) > 0x7F;
            pattern += isPlain ? std::string(1, unit[i]) : std::string("[") + unit[i] + "]";
            ++i;
        }
    }
    return pattern;
}

std::string gateTable(const std::string& unit) {
    const std::string pattern = serialPattern(unit);
    const bool isSafe = !unit.empty() && isPattern(pattern) && matchesPattern(pattern, unit);
    return "\n[unit]\n" + (isSafe ? "serial = " + quoted(pattern) + "\n" : "") +
           "# failedAttempts = 2          # more need --repaired\n"
           "# goldenUnit = \"...\"          # has to pass each day before any other unit\n";
}

std::string macTable(const TestRun& run) {
    constexpr std::size_t prefixCharacters = 8;
    const std::vector<std::string>& macs = run.board.macs;
    const auto hasPrefix = [&macs](const std::string& mac) {
        return mac.substr(0, prefixCharacters) == macs[0].substr(0, prefixCharacters);
    };
    const std::vector<ElementCheck> checks = macChecks(run, {});
    const bool areGood =
        std::all_of(checks.begin(), checks.end(), [](const ElementCheck& one) { return one.check.passed; });
    std::string text = "\n[mac]\ncount = " + std::to_string(macs.size()) + "\n";
    if (!areGood) {
        text += "# The unit's addresses are not valid, or are there twice: it will not pass.\n";
    } else if (!macs.empty() && std::all_of(macs.begin(), macs.end(), hasPrefix)) {
        text += "prefix = " + quoted(macs[0].substr(0, prefixCharacters)) + "\n";
    }
    return text + "# first = \"...\"\n# last = \"...\"\n";
}

std::string planTables(const std::vector<std::string>& singleItems) {
    std::string text;
    for (const std::string& name : singleItems) {
        const ItemRow& row = *itemWith(&ItemRow::name, name);
        text += "\n[[test]]\nnumber = " + std::to_string(row.singleTest) + "  # " + std::string(row.english) +
                "\n";
        text += questionAbout(name) == nullptr ? "" : "ask = true\n";
    }
    return text;
}

}  // namespace

std::string firstProduct(const std::string& unit, const TestRun& run,
                         const std::vector<std::string>& singleItems) {
    std::string text =
        "# What a good unit is, from one that passed: look at each line before it counts.\n"
        "# docs/product.md says what else can stand here.\n";
    text += gateTable(unit) + macTable(run);
    for (const Item& item : run.items) {
        if (item.isOfThisBoard()) {
            text += itemTable(run, item);
        }
    }
    return text + planTables(singleItems);
}

}  // namespace station
