#include "station/product/tool_limits.h"

#include <algorithm>
#include <charconv>

#include "station/interpret/items.h"

namespace station {

namespace {

Limit exactly(Value value) {
    return {.expected = std::move(value)};
}

Limit atLeast(std::int64_t number) {
    return {.minimum = Value(number)};
}

// A drive at a port outside the board is a choice.
void addMissingDrives(const Sata& sata, ItemLimits& limits) {
    for (const std::string& device : sata.missing) {
        const std::string name = device.substr(device.rfind('/') + 1);
        const bool isKnown =
            std::find(limits.elements.begin(), limits.elements.end(), name) != limits.elements.end();
        if (name.starts_with("sd") && !isKnown) {
            limits.elements.push_back(name);
        }
    }
}

// The hexadecimal number behind the first such text; none when there is none.
std::optional<std::uint32_t> hexadecimalBehind(std::string_view line, std::string_view text) {
    const std::size_t at = line.find(text);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view rest = line.substr(at + text.size());
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number, 16);
    return error == std::errc{} ? std::optional(number) : std::nullopt;
}

// "1, 5, 9": the numbers of the bits that are set, from 1.
std::string bitNumbers(std::uint32_t bits) {
    std::string numbers;
    for (unsigned bit = 0; bit < 32; ++bit) {
        if ((bits >> bit & 1) != 0) {
            numbers += (numbers.empty() ? "" : ", ") + std::to_string(bit + 1);
        }
    }
    return numbers;
}

Words alarmReason(std::uint32_t inputs, bool isOn, std::uint32_t outputs) {
    const std::string numbers = bitNumbers(inputs);
    const std::string on = bitNumbers(outputs);
    return {"报警输入" + numbers + ": " + (isOn ? "有报警, 应无" : "无报警, 应有") +
                (outputs == 0 ? " (报警输出全部断开)" : " (报警输出" + on + "接通)"),
            "alarm input " + numbers + ": " + (isOn ? "on, expected off" : "off, expected on") +
                (outputs == 0 ? " (all alarm outputs off)" : " (alarm output " + on + " on)")};
}

}  // namespace

ItemLimits toolLimits(const TestRun& run, const Item& item, const ItemLimits* product) {
    ItemLimits limits = product != nullptr ? *product : ItemLimits();
    const auto add = [&limits](const char* key, Limit limit) {
        limits.values.push_back({"", key, std::move(limit)});
    };
    const Usb& usb = run.values<Usb>();
    if (item.row == &Network::row && !run.values<Network>().cards.empty()) {
        add("link", exactly(true));
        add("speedMbit", exactly(std::int64_t{1000}));
        add("duplex", exactly(std::string("full")));
    } else if (item.row == &Rs485::row) {
        add("trialsFailed", exactly(std::int64_t{0}));
    } else if (item.row == &Alarm::row && run.values<Alarm>().checksFailed) {
        add("checksFailed", exactly(std::int64_t{0}));
    } else if (item.row == &Usb::row && usb.expected && usb.found) {
        add("found", exactly(*usb.expected));
    } else if (item.row == &Sata::row) {
        addMissingDrives(run.values<Sata>(), limits);
        if (!run.values<Sata>().drives.empty()) {
            add("capacityGiB", atLeast(1));
        }
    } else if (item.row == &ClockTimes::row && !run.values<ClockTimes>().pairs.empty()) {
        add("differenceSeconds", {.minimum = Value(std::int64_t{-2}), .maximum = Value(std::int64_t{2})});
    }
    return limits;
}

// "报警输出为 4, 报警输入为 4440 ，报警输入应为 4444": hexadecimal, a bit for each.
std::vector<Words> alarmReasons(const TestRun& run, const Item& item) {
    std::vector<Words> reasons;
    if (item.row != &Alarm::row) {
        return reasons;
    }
    for (const std::string& line : run.values<Alarm>().mismatches) {
        const auto measured = hexadecimalBehind(line, "报警输入为 ");
        const auto expected = hexadecimalBehind(line, "报警输入应为 ");
        const std::uint32_t outputs = hexadecimalBehind(line, "报警输出为 ").value_or(0);
        if (!measured || !expected) {
            continue;
        }
        for (const bool isOn : {false, true}) {
            const std::uint32_t inputs = isOn ? *measured & ~*expected : *expected & ~*measured;
            if (inputs != 0) {
                reasons.push_back(alarmReason(inputs, isOn, outputs));
            }
        }
    }
    return reasons;
}

}  // namespace station
