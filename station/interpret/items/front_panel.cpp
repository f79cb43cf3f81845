#include "station/interpret/items.h"
#include "station/interpret/text.h"

namespace station {

namespace {

// The test says that it begins, once the panel has answered. It ends with the key MENU, and silently where
// the panel does not answer or its port is lost: so its end proves nothing.
void readSingle(TestRun& run, std::string_view line) {
    Item& item = run.item<FrontPanel>();
    Count& answers = run.values<FrontPanel>().answers;
    if (line == "面板测试开始") {
        item.checked = true;
        answers = answers.value_or(0) + 1;
    }
    markNotSeen(item, line, {"pannel init failed", "can not creat HB thread", "创建面板心跳守护进程失败"});
}

// In each repetition the panel has ten seconds for its answer.
std::string lacks(const TestRun& run) {
    const std::int64_t answers = run.values<FrontPanel>().answers.value_or(0);
    return answers == run.repetitions ? ""
                                      : "the panel answered in " + std::to_string(answers) + " of " +
                                            std::to_string(run.repetitions) + " repetitions";
}

}  // namespace

const ItemRow FrontPanel::row = {
    .name = "front-panel",
    .title = "前面板",
    .english = "Front panel",
    .presence = Presence::onlyAlone,
    .lacks = lacks,
    .singleTest = 3,
    .readSingle = readSingle,
    .singleNeedsPerson = true,
};

}  // namespace station
