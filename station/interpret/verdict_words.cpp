#include "station/interpret/verdict_words.h"

#include "station/interpret/text.h"

namespace station {

void addVerdict(Item& item, bool passed, std::string_view words) {
    item.verdict = item.verdict.value_or(true) && passed;
    if (!passed) {
        item.reason = words;
    }
}

Count countIn(std::string_view verdict) {
    std::int64_t count = 0;
    LineScanner scan{verdict};
    return scan.number(count) && scan.rest.empty() ? Count(count) : std::nullopt;
}

bool readPlainVerdict(TestRun&, Item& item, std::string_view verdict) {
    if (verdict != "成功" && verdict != "失败") {
        return false;
    }
    addVerdict(item, verdict == "成功", verdict);
    return true;
}

}  // namespace station
