#include "station/store/measured_values.h"

#include <algorithm>

namespace station {

namespace {

using OnValue = std::function<void(const std::string& name, const RecordJson& value)>;

std::string wordOf(const RecordJson& value) {
    return value.is_string() ? value.get<std::string>()
           : value.is_null() ? ""
                             : value.dump(-1, ' ', false, RecordJson::error_handler_t::replace);
}

// Which element of a list it is: what it says of itself, else its place.
std::string elementName(const std::string& list, std::size_t position, const RecordJson& element) {
    if (element.is_object()) {
        if (const RecordJson card = element.value("card", RecordJson()); card.is_number_integer()) {
            return "card" + card.dump();
        }
        const std::string device = textOf(element, "device");
        if (!device.empty()) {
            return device.substr(device.rfind('/') + 1);
        }
    }
    return list + std::to_string(position);
}

void visit(const std::string& name, const std::string& list, const RecordJson& part, const OnValue& onValue) {
    if (part.is_object()) {
        for (const auto& [key, value] : part.items()) {
            visit(name + (name.empty() || value.is_array() ? "" : ".") + (value.is_array() ? "" : key), key,
                  value, onValue);
        }
    } else if (part.is_array()) {
        for (std::size_t i = 0; i < part.size(); ++i) {
            visit(name + (name.empty() ? "" : ".") + elementName(list, i + 1, part[i]), list, part[i],
                  onValue);
        }
    } else if (!name.empty()) {
        onValue(name, part);
    }
}

std::optional<double> numberOf(const RecordJson& check, const char* name) {
    const RecordJson value = check.value(name, RecordJson());
    return value.is_number() ? std::optional(value.get<double>()) : std::nullopt;
}

// What no number can say: texts and flags to be equal to, patterns, and ranges of dates or addresses.
std::string expectedOf(const RecordJson& check) {
    std::string expected = wordOf(check.value("expected", RecordJson()));
    for (const auto& [key, word] : {std::pair("pattern", "~ "), {"minimum", ">= "}, {"maximum", "<= "}}) {
        if (const std::string text = textOf(check, key); !text.empty()) {
            expected += (expected.empty() ? "" : ", ") + (word + text);
        }
    }
    return expected;
}

StoredValue checkedValue(const std::string& itemName, const std::string& name, const RecordJson& check) {
    StoredValue value;
    value.item = itemName;
    value.name = name;
    value.measured = numberOf(check, "measured");
    value.measuredText = value.measured ? "" : wordOf(check.value("measured", RecordJson()));
    value.minimum = numberOf(check, "minimum");
    value.maximum = numberOf(check, "maximum");
    value.expected = expectedOf(check);
    value.passed = check.value("passed", RecordJson(false)) == true;
    return value;
}

}  // namespace

std::string textOf(const RecordJson& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

void forEachMeasured(const RecordJson& measured, const OnValue& onValue) {
    visit("", "", measured, onValue);
}

void addValues(std::vector<StoredValue>& values, const std::string& itemName, const RecordJson& item) {
    const auto isThere = [&](const std::string& name) {
        return std::any_of(values.begin(), values.end(), [&](const StoredValue& value) {
            return value.item == itemName && value.name == name;
        });
    };
    const auto checks = item.find("checks");
    for (const RecordJson& check :
         checks != item.end() && checks->is_array() ? *checks : RecordJson::array()) {
        const std::string name = check.is_object() ? textOf(check, "value") : "";
        if (!name.empty() && !isThere(name)) {
            values.push_back(checkedValue(itemName, name, check));
        }
    }
    const auto measured = item.find("measured");
    forEachMeasured(measured == item.end() ? RecordJson() : *measured,
                    [&](const std::string& name, const RecordJson& value) {
                        if (value.is_number() && !isThere(name)) {
                            values.push_back({itemName, name, value.get<double>(), "", {}, {}, "", {}});
                        }
                    });
}

}  // namespace station
