#include "station/interpret/seen_values.h"

#include <algorithm>
#include <array>
#include <utility>

#include "station/interpret/items.h"

namespace station {

namespace {

// Hands on what measured.h says of a struct.
class ValueCollector {
  public:
    std::vector<SeenValue> seen;

    template <typename Values>
    void collect(const Values& values) {
        values.fields([this](const std::string& key, const auto& value) { add(key, value); });
    }

  private:
    void add(const std::string& key, const std::string& text) { put(key, text); }
    void add(const std::string& key, std::int64_t number) { put(key, number); }
    void add(const std::string& key, bool flag) { put(key, flag); }
    template <typename One>
    void add(const std::string& key, const std::optional<One>& value) {
        if (value) {
            put(key, *value);
        }
    }
    template <typename Element>
    void add(const std::string& key, const std::vector<Element>& elements) {
        put(key, static_cast<std::int64_t>(elements.size()));
        for (std::size_t i = 0; i < elements.size(); ++i) {
            if constexpr (!std::is_same_v<Element, std::string>) {
                addElement(key, key + std::to_string(i + 1), elements[i]);
            }
        }
    }
    template <typename Element>
    void addElement(const std::string& list, const std::string& place, const Element& element) {
        const std::size_t first = seen.size();
        list_ = list;
        collect(element);
        list_.clear();
        std::string name = place;
        if (const auto* const device = std::get_if<std::string>(&seen[first].value);
            device != nullptr && seen[first].key == "device") {
            name = device->substr(device->rfind('/') + 1);
        } else if (seen[first].key == "card") {
            name = "card" + std::to_string(std::get<std::int64_t>(seen[first].value));
        }
        std::for_each(seen.begin() + static_cast<std::ptrdiff_t>(first), seen.end(),
                      [&name](SeenValue& value) { value.element = name; });
    }
    void put(const std::string& key, Value value) { seen.push_back({list_, "", key, std::move(value)}); }

    std::string list_;
};

template <std::size_t index = 0>
void collectOf(const TestRun& run, const ItemRow& row, ValueCollector& collector) {
    if constexpr (index < itemCount) {
        if (itemRows[index] == &row) {
            return collector.collect(std::get<index>(run.measured));
        }
        collectOf<index + 1>(run, row, collector);
    }
}

}  // namespace

std::vector<SeenValue> seenValues(const TestRun& run, const ItemRow& row) {
    ValueCollector collector;
    collectOf(run, row, collector);
    return std::move(collector.seen);
}

}  // namespace station
