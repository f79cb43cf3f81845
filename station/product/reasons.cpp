#include "station/product/reasons.h"

#include <algorithm>

#include "station/interpret/items.h"
#include "station/interpret/text.h"
#include "station/product/tool_limits.h"

namespace station {

namespace {

constexpr WordsView notSeen = {"没有测到", "not seen"};
constexpr WordsView isThere = {"有", "there"};
constexpr WordsView isMissing = {"不存在", "missing"};
constexpr WordsView wasTested = {"已测试", "tested"};
constexpr WordsView wasNotTested = {"未测试", "not tested"};
constexpr WordsView oneOf = {"{}, 应为 {}", "{}, expected {}"};
constexpr WordsView isGoodAddress = {"有效且不重复的单播地址", "a valid unicast address, once"};

std::string filled(std::string_view text, const std::string& argument) {
    std::string result(text);
    const std::size_t place = result.find("{}");
    return place == std::string::npos ? result : result.replace(place, 2, argument);
}

Words filled(WordsView text, const Words& argument) {
    return {filled(text.zh, argument.zh), filled(text.en, argument.en)};
}

Words both(const std::string& text) {
    return {text, text};
}

Words wordsOf(WordsView view) {
    return {std::string(view.zh), std::string(view.en)};
}

// In the board's language and in English, where the value is a word of ours.
Words wordsOf(const Value& value) {
    constexpr std::pair<std::string_view, WordsView> words[] = {{"full", {"全双工", "full duplex"}},
                                                                {"half", {"半双工", "half duplex"}}};
    if (const auto* const number = std::get_if<std::int64_t>(&value)) {
        return both(std::to_string(*number));
    }
    if (const bool* const flag = std::get_if<bool>(&value)) {
        return *flag ? Words{"是", "yes"} : Words{"否", "no"};
    }
    const auto& text = std::get<std::string>(value);
    for (const auto& [known, view] : words) {
        if (text == known) {
            return wordsOf(view);
        }
    }
    return both(text);
}

Words wordsOf(const Limit& limit) {
    if (limit.expected) {
        return wordsOf(*limit.expected);
    }
    if (limit.pattern) {
        return {"符合 " + *limit.pattern, "matching " + *limit.pattern};
    }
    const Words least = limit.minimum ? wordsOf(*limit.minimum) : Words();
    const Words most = limit.maximum ? wordsOf(*limit.maximum) : Words();
    return limit.minimum && limit.maximum ? Words{least.zh + " 到 " + most.zh, least.en + " to " + most.en}
           : limit.minimum                ? Words{"至少 " + least.zh, "at least " + least.en}
                                          : Words{"至多 " + most.zh, "at most " + most.en};
}

// A flag has words of its own, anything else stands in its format.
Words inFormat(const ValueRow& row, const Words& words, const std::optional<Value>& value) {
    const bool* const flag = value ? std::get_if<bool>(&*value) : nullptr;
    return flag == nullptr || row.yes.zh.empty() ? filled(row.format, words)
                                                 : wordsOf(*flag ? row.yes : row.no);
}

bool isAddress(const ElementCheck& one) {
    return one.check.value.starts_with("board.mac") && one.check.value != "board.macs";
}

Words measuredWords(const ElementCheck& one) {
    if (!one.check.measured) {
        return wordsOf(notSeen);
    }
    const Value& value = *one.check.measured;
    if (one.row != nullptr) {
        return inFormat(*one.row, wordsOf(value), value);
    }
    const bool flag = value == Value(true);
    return one.check.value == "tested"             ? wordsOf(flag ? wasTested : wasNotTested)
           : one.check.value.ends_with(".present") ? wordsOf(flag ? isThere : isMissing)
           : one.check.value == "durationSeconds" ? filled(WordsView{"用时 {} 秒", "{} s"}, wordsOf(value))
                                                  : wordsOf(value);
}

Words expectedWords(const ElementCheck& one) {
    const Limit& limit = one.check.limit;
    if (one.row != nullptr) {
        return inFormat(*one.row, wordsOf(limit), limit.expected);
    }
    if (isAddress(one)) {
        const Words good = wordsOf(isGoodAddress);
        const bool isRange = limit.minimum || limit.maximum;
        const Words range = isRange ? wordsOf(limit) : Words();
        return isRange ? Words{good.zh + ", " + range.zh, good.en + ", " + range.en} : good;
    }
    const bool flag = limit.expected == Value(true);
    return one.check.value == "tested"             ? wordsOf(flag ? wasTested : wasNotTested)
           : one.check.value.ends_with(".present") ? wordsOf(isThere)
           : one.check.value == "durationSeconds"  ? filled(WordsView{"{} 秒", "{} s"}, wordsOf(limit))
                                                   : wordsOf(limit);
}

// "card2" of the cards is "2"; a drive keeps its name.
Words shortName(const ElementCheck& one) {
    // Of a list in which nothing was seen there is no name.
    std::string name = one.row != nullptr && one.element == one.row->list ? "" : one.element;
    for (const std::string_view prefix : {"card", "pairs", "mac"}) {
        if (name.starts_with(prefix) && name.size() > prefix.size()) {
            name.erase(0, prefix.size());
            break;
        }
    }
    return both(name);
}

Words nameOf(const Item& item, const std::vector<ElementCheck>& group) {
    const auto withRow =
        std::find_if(group.begin(), group.end(), [](const ElementCheck& one) { return one.row != nullptr; });
    const ElementCheck& first = group.front();
    if (withRow != group.end()) {
        const Words name = filled(withRow->row->name, shortName(*withRow));
        return {std::string(trimmed(name.zh)), std::string(trimmed(name.en))};
    }
    if (isAddress(first)) {
        return filled(WordsView{"MAC地址{}", "MAC address {}"}, shortName(first));
    }
    if (first.element == "macs") {
        return {"MAC地址个数", "number of MAC addresses"};
    }
    if (!first.element.empty()) {
        for (const ValueRow& row : valueRows()) {
            if (row.item == item.row->name && !row.list.empty()) {
                return filled(row.name, shortName(first));
            }
        }
    }
    return {std::string(item.row->title), std::string(item.row->english)};
}

void append(Words& line, const Words& words) {
    line.zh += (line.zh.empty() ? "" : " ") + words.zh;
    line.en += (line.en.empty() ? "" : " ") + words.en;
}

// What was seen outside its limits explains what was not seen; only alone that is worth a word.
Words reasonOf(const Item& item, const std::vector<ElementCheck>& group) {
    Words measured;
    Words expected;
    const bool hasSeen = std::any_of(group.begin(), group.end(),
                                     [](const ElementCheck& one) { return one.check.measured.has_value(); });
    const auto needsNoWord = [&group](const ElementCheck& one) {  // a card with a speed has a link
        return one.check.limit.expected == Value(true) && group.size() > 1;
    };
    for (const ElementCheck& one : group) {
        if (one.check.measured) {
            append(measured, measuredWords(one));
        }
        if (!needsNoWord(one)) {
            append(expected, expectedWords(one));
        }
    }
    measured = hasSeen ? measured : wordsOf(notSeen);
    const Words name = nameOf(item, group);
    return {name.zh + ": " + filled(filled(oneOf.zh, measured.zh), expected.zh),
            name.en + ": " + filled(filled(oneOf.en, measured.en), expected.en)};
}

// Of what the tool and the station say of an item: the board's language for those of our own.
Words reasonInWords(const Item& item) {
    constexpr std::pair<std::string_view, std::string_view> known[] = {
        {"no verdict came", "没有结果, 应有结果"},
        {"its step, which every run has, did not come", "测试步骤没有出现, 每次都应有"},
        {"lines were lost, it is not known whether the step ran", "有行丢失, 不知是否测试过, 应无丢失"},
        {"the step was announced, but nothing was checked", "测试开始后什么都没有检查, 应有检查"},
        {"the test ended and had checked nothing", "测试结束时什么都没有检查, 应有检查"},
        {"a line that can not be read: ", "有一行读不懂, 应能读懂: "},
        {"clock and system time differ", "时钟与系统时间不一致, 应一致"},
        {"other times than the three pairs that the test prints", "时间不是三对, 应为三对"},
        {"not every port has a line", "不是每个接口都有一行, 应都有"},
        {"lines of the drives do not agree with their number", "硬盘各行与个数不符, 应相符"},
        {"the number of ports and what was found do not agree", "接口个数与找到的个数不符, 应相符"},
        {"the panel answered in ", "面板应答次数不够, 应每次应答: "},
        {"not every block has its result", "不是每块数据都有结果, 应都有"},
        {"not every chip has its line", "不是每个芯片都有结果, 应都有"},
        {"chips that were not tested: ", "有芯片未测试, 应都测试: "},
        {"the operator did not hear the buzzer", "操作员没有听到蜂鸣器, 应听到"},
        {"the operator says that lamps or keys of the panel are not right",
         "操作员判定面板灯或按键不对, 应都对"},
        {"the operator saw no restart", "操作员没有看到重新启动, 应重新启动"},
        {"the board did not come back, newly started, in time", "设备没有在时限内重新启动, 应重新启动"},
        {"the tool did not end in time", "工具没有在时限内结束, 应结束"},
        {"the tool ended with status ", "工具异常退出, 应正常退出: "},
        {"the tool was killed by signal ", "工具被信号终止, 应正常退出: "},
        {"the station was stopped", "测试站被停止, 应测试到底"},
        {"it is not known how the tool ended", "不知道工具如何结束, 应正常结束"},
    };
    const std::string& reason = item.reason.empty() ? item.contradiction : item.reason;
    Words words = {"工具的结果是“" + reason + "”, 应为成功",
                   "the tool says \"" + reason + "\", expected success"};
    for (const auto& [en, zh] : known) {
        if (reason.starts_with(en)) {
            const std::string rest = reason.substr(en.size());
            words = {std::string(zh) + rest, reason};
        }
    }
    return {std::string(item.row->title) + ": " + words.zh, std::string(item.row->english) + ": " + words.en};
}

}  // namespace

std::vector<Words> reasonsOf(const Item& item, const std::vector<ElementCheck>& checks) {
    std::vector<std::vector<ElementCheck>> groups;
    for (const ElementCheck& one : checks) {
        if (one.check.passed) {
            continue;
        }
        const auto group = std::find_if(groups.begin(), groups.end(), [&one](const auto& other) {
            return !one.element.empty() && other.front().element == one.element;
        });
        if (group == groups.end()) {
            groups.push_back({one});
        } else {
            group->push_back(one);
        }
        if (one.check.value == "tested") {
            break;  // explains all that was not seen
        }
    }
    std::vector<Words> reasons;
    for (const auto& group : groups) {
        reasons.push_back(reasonOf(item, group));
    }
    return reasons;
}

std::vector<Words> reasonsOfTool(const TestRun& run, const Item& item, const ItemLimits* product) {
    std::vector<Words> reasons = alarmReasons(run, item);
    if (reasons.empty()) {
        reasons = reasonsOf(item, checksOf(run, item, toolLimits(run, item, product), false));
    }
    if (reasons.empty()) {
        reasons.push_back(reasonInWords(item));
    }
    return reasons;
}

}  // namespace station
