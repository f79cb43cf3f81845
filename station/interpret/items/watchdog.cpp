#include "station/interpret/items.h"

namespace station {

namespace {

void readSingle(TestRun& run, std::string_view line) {
    markNotSeen(run.item<Watchdog>(), line, {"failed to open watchdog", "set watchdog timeout failed"});
}

// Whether the board restarts shows behind the tool's end.
void endSilently(TestRun& run) {
    Item& item = run.item<Watchdog>();
    item.checked = item.contradiction.empty();
    run.values<Watchdog>().armed = item.checked;
}

}  // namespace

const ItemRow Watchdog::row = {
    .name = "watchdog",
    .title = "看门狗",
    .english = "Watchdog",
    .presence = Presence::onlyAlone,
    .singleTest = 9,
    .readSingle = readSingle,
    .endSilently = endSilently,
    .singleNeedsPerson = true,
};

}  // namespace station
