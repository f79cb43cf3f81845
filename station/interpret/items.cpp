#include "station/interpret/items.h"

#include <algorithm>
#include <utility>

namespace station {

namespace {

template <typename... Values>
constexpr std::array<const ItemRow*, sizeof...(Values)> rowsOf(const std::tuple<Values...>*) {
    return {&Values::row...};
}

}  // namespace

constinit const std::array<const ItemRow*, itemCount> itemRows =
    rowsOf(static_cast<const Measured*>(nullptr));

std::array<Item, itemCount> itemsBeforeTheRun() {
    std::array<Item, itemCount> items = {};
    for (std::size_t i = 0; i < itemCount; ++i) {
        items[i].row = itemRows[i];
        items[i].isPart = itemRows[i]->presence != Presence::onlyAlone;
    }
    return items;
}

bool Item::isOfThisBoard() const {
    return isPart && (row->presence != Presence::whereNamed || verdict.has_value() || wanted);
}

const ItemRow* itemWith(std::string_view ItemRow::*field, std::string_view text) {
    const auto found = std::find_if(itemRows.begin(), itemRows.end(),
                                    [&](const ItemRow* row) { return row->*field == text; });
    return found == itemRows.end() || text.empty() ? nullptr : *found;
}

const ItemRow* itemOfSingleTest(int number) {
    const auto found = std::find_if(itemRows.begin(), itemRows.end(),
                                    [number](const ItemRow* row) { return row->singleTest == number; });
    return number == 0 || found == itemRows.end() ? nullptr : *found;
}

Item& itemOf(TestRun& run, const ItemRow& row) {
    return *std::find_if(run.items.begin(), run.items.end(),
                         [&row](const Item& item) { return item.row == &row; });
}

std::string_view englishName(std::string_view name) {
    constexpr std::pair<std::string_view, std::string_view> others[] = {
        {"preparation", "Preparation"},
        {"summary", "Summary"},
    };
    if (const ItemRow* const row = itemWith(&ItemRow::name, name)) {
        return row->english;
    }
    for (const auto& [known, english] : others) {
        if (known == name) {
            return english;
        }
    }
    return "";
}

void markBroken(Item& item, std::string_view line) {
    if (item.broken.empty()) {
        item.broken = line;
    }
}

void markNotSeen(Item& item, std::string_view line, std::initializer_list<std::string_view> texts) {
    for (const std::string_view text : texts) {
        if (line.find(text) != std::string_view::npos) {
            item.announced = true;
            item.contradiction = text;
        }
    }
}

}  // namespace station
