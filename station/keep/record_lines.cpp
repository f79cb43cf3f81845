#include "station/keep/record_lines.h"

#include <algorithm>
#include <iterator>

#include "station/interpret/items.h"
#include "station/interpret/run_interpreter.h"
#include "station/interpret/summary_lines.h"
#include "station/interpret/verdict.h"
#include "station/keep/record_file.h"
#include "station/keep/unit_history.h"
#include "station/wrong_use.h"

namespace station {

namespace {

Json readRecordOf(const std::filesystem::path& folder) {
    try {
        return readRecordFile(folder / "record.json");
    } catch (const std::exception& error) {
        throw WrongUse((folder / "record.json").string() + ": " + error.what());
    }
}

// Screen lines are whole again; the end marker alone comes without a line break.
void readLineAgain(RunInterpreter& interpreter, const Json& line) {
    const std::string text = textOf(line, "text");
    const double at = line.value("at", Json()).is_number() ? line["at"].get<double>() : 0;
    if (textOf(line, "source") == "console") {
        interpreter.console(at, text);
    } else {
        interpreter.record(at, text == endMarker ? text : text + "\n");
    }
}

// Empty where somebody has changed it into anything else.
std::vector<Json> listIn(const Json& object, const char* key) {
    const Json list = object.is_object() ? object.value(key, Json()) : Json();
    std::vector<Json> objects;
    if (list.is_array()) {
        std::copy_if(list.begin(), list.end(), std::back_inserter(objects),
                     [](const Json& one) { return one.is_object(); });
    }
    return objects;
}

bool isOfSingleTest(const Json& item) {
    const ItemRow* const row = itemWith(&ItemRow::name, textOf(item, "name"));
    return row != nullptr && row->presence == Presence::onlyAlone;
}

}  // namespace

RecordedRun readPassedRun(const std::filesystem::path& folder) {
    const Json record = readRecordOf(folder);
    if (textOf(record, "outcome") != "passed") {
        throw WrongUse(folder.string() + ": the unit did not pass, it is " + textOf(record, "outcome"));
    }
    RunInterpreter interpreter;
    for (const Json& step : listIn(record, "steps")) {
        if (interpreter.run.ended) {
            break;  // behind it come single tests
        }
        for (const Json& line : listIn(step, "lines")) {  // what was printed may come behind the end marker
            readLineAgain(interpreter, line);
        }
    }
    interpreter.finish(interpreter.run.steps.back().end, {.exitStatus = 0}, false);
    judgeClock(interpreter.run, ClockJudge::automatic, {});
    RecordedRun recorded = {textOf(record, "unit"), interpreter.run, {}};
    if (recorded.run.outcome != Outcome::passed) {
        throw WrongUse(folder.string() + ": the lines that it kept do not say that the unit passed");
    }
    for (const Json& item : record["items"]) {
        if (isOfSingleTest(item)) {
            recorded.singleItems.push_back(textOf(item, "name"));
        }
    }
    return recorded;
}

}  // namespace station
