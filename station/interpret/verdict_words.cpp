#include "station/interpret/verdict_words.h"

#include "station/interpret/text.h"

namespace station {

namespace {

// A summary that says both of an item says failed.
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

}  // namespace

bool readVerdict(TestRun&, Item& item, std::string_view verdict) {
    if (verdict != "成功" && verdict != "失败") {
        return false;
    }
    addVerdict(item, verdict == "成功", verdict);
    return true;
}

bool readUsbVerdict(TestRun& run, Item& item, std::string_view verdict) {
    const Count count = countIn(verdict);
    if (!count) {
        return readVerdict(run, item, verdict);
    }
    Usb& usb = std::get<usbItem>(run.measured);
    usb.found = count;
    item.checked = true;  // the test says nothing more where it finds nothing
    if (usb.expected && usb.expected != usb.found) {
        item.contradiction =
            std::to_string(*usb.found) + " found, " + std::to_string(*usb.expected) + " expected";
    }
    return true;
}

bool readSataVerdict(TestRun& run, Item& item, std::string_view verdict) {
    if (const Count count = countIn(verdict)) {
        std::get<sataItem>(run.measured).found = count;
    } else if (verdict.starts_with("端口") && verdict.ends_with("无连接")) {
        addVerdict(item, false, verdict);
    } else {
        return readVerdict(run, item, verdict);
    }
    return true;
}

bool readClockVerdict(TestRun& run, Item& item, std::string_view verdict) {
    item.leftToPerson = item.leftToPerson || verdict == "由检测人员判断";
    return verdict == "由检测人员判断" || readVerdict(run, item, verdict);
}

}  // namespace station
