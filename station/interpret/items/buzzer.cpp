#include "station/interpret/items.h"

namespace station {

namespace {

void readSingle(TestRun& run, std::string_view line) {
    markNotSeen(run.item<Buzzer>(), line, {"open hwInfo error"});
}

void endSilently(TestRun& run) {
    Item& item = run.item<Buzzer>();
    item.checked = item.contradiction.empty();
    run.values<Buzzer>().driven = item.checked;
}

}  // namespace

const ItemRow Buzzer::row = {
    .name = "buzzer",
    .title = "蜂鸣器",
    .english = "Buzzer",
    .presence = Presence::onlyAlone,
    .singleTest = 2,
    .readSingle = readSingle,
    .endSilently = endSilently,
    .singleNeedsPerson = true,
};

}  // namespace station
