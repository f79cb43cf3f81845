#include "station/plan/plan.h"

#include <algorithm>

#include "station/interpret/items.h"
#include "station/wrong_use.h"

namespace station {

namespace {

constexpr const char* fullRunWord = "netR8test";
constexpr double unplannedLimitSeconds = 180;
constexpr double unplannedAnswerSeconds = 60;

bool hasFullRun(const std::vector<Part>& parts) {
    return std::any_of(parts.begin(), parts.end(), [](const Part& part) { return part.test == 0; });
}

}  // namespace

std::vector<Part> partsFor(const std::vector<std::string>& items, const std::vector<Part>& plan) {
    std::vector<Part> parts;
    for (const std::string& item : items) {
        const ItemRow* const row = itemWith(&ItemRow::name, item);
        if (row == nullptr) {
            throw WrongUse("--only " + item + ": there is no such item");
        }
        const std::size_t before = parts.size();
        std::copy_if(plan.begin(), plan.end(), std::back_inserter(parts),
                     [row](const Part& part) { return part.test != 0 && part.test == row->singleTest; });
        if (parts.size() != before || (row->singleTest == 0 && hasFullRun(parts))) {
            continue;
        }
        parts.push_back(row->singleTest == 0
                            ? Part()
                            : Part{row->singleTest, 1, unplannedLimitSeconds, true, unplannedAnswerSeconds});
    }
    return parts;
}

std::vector<std::string> commandOf(const Part& part, const std::vector<std::string>& fullRun) {
    const auto mode = std::find(fullRun.begin(), fullRun.end(), fullRunWord);
    if (part.test == 0) {
        return fullRun;
    }
    if (itemOfSingleTest(part.test) == nullptr) {
        throw WrongUse("the tool has no single test " + std::to_string(part.test));
    }
    if (mode == fullRun.end()) {
        throw WrongUse(
            "a plan needs a command with the word netR8test, in whose place -o NUMBER stands for a "
            "single test");
    }
    std::vector<std::string> words(fullRun.begin(), mode);
    words.insert(words.end(), {"-o", std::to_string(part.test)});
    if (part.repetitions != 1) {
        words.push_back(std::to_string(part.repetitions));
    }
    words.insert(words.end(), mode + 1, fullRun.end());
    return words;
}

std::string titleOf(const Part& part, bool english) {
    if (part.test == 0) {
        return english ? "full run" : "全部测试";
    }
    const ItemRow& row = *itemOfSingleTest(part.test);
    return std::string(english ? row.english : row.title);
}

const OperatorQuestion* questionAbout(std::string_view item) {
    static constexpr OperatorQuestion questions[] = {
        {"buzzer", "蜂鸣器响了吗?", "Did the buzzer sound?", "the operator did not hear the buzzer"},
        {"front-panel", "面板灯先全绿后全红, 按MENU退出了吗?",
         "Did all lamps turn green, then red, and did MENU end the test?",
         "the operator says that lamps or keys of the panel are not right"},
        {"watchdog", "设备重新启动了吗?", "Did the board restart?", "the operator saw no restart"},
        {"clock", "时钟时间(左)与系统时间(右)一致吗?", "Do clock (left) and system time (right) agree?",
         "clock and system time differ"},
    };
    const auto found =
        std::find_if(std::begin(questions), std::end(questions),
                     [item](const OperatorQuestion& question) { return question.item == item; });
    return found == std::end(questions) ? nullptr : found;
}

}  // namespace station
