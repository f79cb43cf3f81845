#include "station/product/checks.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "station/interpret/items.h"
#include "station/interpret/seen_values.h"
#include "station/interpret/text.h"
#include "station/interpret/verdict_words.h"

namespace station {

namespace {

class CheckMaker {
  public:
    CheckMaker(const TestRun& run, const Item& item, const ItemLimits& limits, bool implied)
        : run_(run), item_(item), limits_(limits), implied_(implied), seen_(seenValues(run, *item.row)) {
        addUnlisted();
    }

    std::vector<ElementCheck> make() {
        addWhole();
        for (const std::string& element : limits_.elements) {
            addIdentity(element);
        }
        for (const ValueRow& row : valueRows()) {
            if (row.item == item_.row->name) {
                row.list.empty() ? addScalar(row) : addElements(row);
            }
        }
        return std::move(checks_);
    }

  private:
    // Of the description, what has no label and so no place in the record's values.
    void addUnlisted() {
        if (item_.row == &BoardDescription::row) {
            for (const auto& [path, text] : {std::pair("board.chip", &BoardDescription::chip),
                                             {"board.memory", &BoardDescription::memory}}) {
                if (const auto& value = run_.values<BoardDescription>().*text) {
                    seen_.push_back({"", "", path, *value});
                }
            }
        }
    }

    void addWhole() {
        if (implied_) {
            const bool wasTested = item_.outcome != Outcome::skipped && item_.isOfThisBoard();
            add("", nullptr, "tested", Value(wasTested), {.expected = Value(limits_.tested)});
        }
        if (limits_.seconds) {
            add("", nullptr, "durationSeconds", secondsOfStep(),
                {.minimum = {}, .maximum = Value(*limits_.seconds)});
        }
    }

    std::optional<Value> secondsOfStep() const {
        for (const Step& step : run_.steps) {
            if (step.name == item_.row->name) {
                return Value(static_cast<std::int64_t>(std::ceil(step.end - step.start)));
            }
        }
        return std::nullopt;
    }

    void addIdentity(const std::string& element) {
        const bool isThere = std::any_of(seen_.begin(), seen_.end(),
                                         [&](const SeenValue& value) { return value.element == element; });
        add(element, nullptr, element + ".present", Value(isThere), {.expected = Value(true)});
        checks_.back().isMissing = !isThere;
    }

    const Limit* limitOf(const std::string& element, std::string_view key) const {
        const auto find = [&](const std::string& wanted) {
            return std::find_if(limits_.values.begin(), limits_.values.end(), [&](const ValueLimit& one) {
                return one.element == wanted && one.key == key;
            });
        };
        auto found = find(element);
        found = found == limits_.values.end() ? find("") : found;
        return found == limits_.values.end() ? nullptr : &found->limit;
    }

    // Where a product describes the cards, each of them has a link, unless it is said to be PoE's.
    std::optional<Limit> impliedLimit(std::string_view key) const {
        const bool isCard = implied_ && item_.row == &Network::row;
        if (isCard && key == "poe") {
            return Limit{.expected = Value(false)};
        }
        return isCard && key == "link" ? std::optional(Limit{.expected = Value(true)}) : std::nullopt;
    }

    bool isPoe(const std::string& element) const {
        const Limit* const poe = limitOf(element, "poe");
        return item_.row == &Network::row && poe != nullptr && poe->expected == Value(true);
    }

    // A value that came twice is checked twice.
    void addMeasured(const std::string& element, const ValueRow& row, const Limit& limit) {
        const std::string path = (element.empty() ? "" : element + ".") + std::string(row.path);
        bool wasSeen = false;
        for (const SeenValue& value : seen_) {
            if (value.element == element && value.key == row.path) {
                wasSeen = true;
                add(element, &row, path, value.value, limit);
            }
        }
        if (!wasSeen) {
            add(element, &row, path, std::nullopt, limit);
        }
    }

    void addScalar(const ValueRow& row) {
        if (const Limit* const limit = limitOf("", row.key)) {
            addMeasured("", row, *limit);
        }
    }

    void addElements(const ValueRow& row) {
        const std::vector<std::string> elements = elementsOf(row);
        for (const std::string& element : elements) {
            const Limit* const limit = limitOf(element, row.key);
            const std::optional<Limit> other = impliedLimit(row.key);
            if ((limit != nullptr || other) && (row.key == "poe" || !isPoe(element))) {
                addMeasured(element, row, limit != nullptr ? *limit : *other);
            }
        }
        if (const Limit* const limit = limitOf("", row.key); limit != nullptr && elements.empty()) {
            const std::string list(row.list);
            add(list, &row, list + "." + std::string(row.path), std::nullopt, *limit);
        }
    }

    // Those that were seen, those that have to be there, and cards up to their number.
    std::vector<std::string> elementsOf(const ValueRow& row) const {
        std::vector<std::string> elements;
        const auto addOnce = [&elements](const std::string& element) {
            if (std::find(elements.begin(), elements.end(), element) == elements.end()) {
                elements.push_back(element);
            }
        };
        for (const SeenValue& value : seen_) {
            if (value.list == row.list) {
                addOnce(value.element);
            }
        }
        std::for_each(limits_.elements.begin(), limits_.elements.end(), addOnce);
        const Limit* const cards = row.list == "cards" ? limitOf("", "cards") : nullptr;
        const std::optional<Value> count = cards == nullptr  ? std::nullopt
                                           : cards->expected ? cards->expected
                                                             : cards->minimum;
        for (std::int64_t i = 1; count && i <= std::get<std::int64_t>(*count) && i <= mostCards; ++i) {
            addOnce("card" + std::to_string(i));
        }
        return elements;
    }

    void add(const std::string& element, const ValueRow* row, const std::string& path,
             const std::optional<Value>& value, const Limit& limit) {
        // A date that can't be read is no date inside the limits.
        const std::optional<Value> compared = value && row != nullptr && row->kind == ValueKind::date
                                                  ? Value(isoDate(std::get<std::string>(*value)))
                                              : value && row != nullptr && row->kind == ValueKind::number
                                                  ? Value(numberOf(*value))
                                                  : value;
        const bool passed = compared && limit.holds(*compared);
        checks_.push_back({element, row, {path, compared, limit, passed}});
    }

    // "14年5月23日." as "2014-05-23"; any other text stays.
    static std::string isoDate(const std::string& text) {
        std::int64_t year = 0;
        std::int64_t month = 0;
        std::int64_t day = 0;
        if (LineScanner scan{text};
            !scan.number(year).text("年").number(month).text("月").number(day).text("日.") || year < 0 ||
            year > 99 || month < 0 || month > 99 || day < 0 || day > 99) {
            return "?" + text;
        }
        char date[16];
        (void)snprintf(date, sizeof date, "20%02d-%02d-%02d", static_cast<int>(year), static_cast<int>(month),
                       static_cast<int>(day));
        return date;
    }

    // A label's value that is a number as a whole; any other stays a text, which no limit of numbers holds.
    static Value numberOf(const Value& value) {
        const std::string* const text = std::get_if<std::string>(&value);
        const Count number = text == nullptr ? std::nullopt : countIn(*text);
        return number ? Value(*number) : value;
    }

    static constexpr std::int64_t mostCards = 16;

    const TestRun& run_;
    const Item& item_;
    const ItemLimits& limits_;
    bool implied_;
    std::vector<SeenValue> seen_;
    std::vector<ElementCheck> checks_;
};

bool isUnicast(const std::string& address) {
    return matchesPattern("[0-9a-f][02468ace](:[0-9a-f]{2}){5}", address) && address != "00:00:00:00:00:00";
}

}  // namespace

std::vector<ElementCheck> checksOf(const TestRun& run, const Item& item, const ItemLimits& limits,
                                   bool implied) {
    return CheckMaker(run, item, limits, implied).make();
}

std::vector<ElementCheck> macChecks(const TestRun& run, const MacLimits& limits) {
    std::vector<ElementCheck> checks;
    const std::vector<std::string>& macs = run.board.macs;
    const auto count = static_cast<std::int64_t>(macs.size());
    if (limits.count) {
        checks.push_back(
            {"macs",
             nullptr,
             {"board.macs", Value(count), {.expected = Value(*limits.count)}, count == *limits.count}});
    } else if ((limits.range.minimum || limits.range.maximum) && macs.empty()) {
        checks.push_back({"macs", nullptr, {"board.macs", {}, limits.range, false}});
    }
    for (std::size_t i = 0; i < macs.size(); ++i) {
        const std::string element = "mac" + std::to_string(i + 1);
        const bool isFirst =
            std::find(macs.begin(), macs.end(), macs[i]) - macs.begin() == static_cast<std::ptrdiff_t>(i);
        const Value address(macs[i]);
        checks.push_back({element,
                          nullptr,
                          {"board." + element, address, limits.range,
                           isUnicast(macs[i]) && isFirst && limits.range.holds(address)}});
    }
    return checks;
}

}  // namespace station
