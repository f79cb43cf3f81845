#include "station/plan/settle.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <iostream>
#include <pugixml.hpp>
#include <sstream>

#include "host/descriptor.h"
#include "station/interpret/run.h"
#include "station/interpret/text.h"
#include "station/keep/attempt.h"
#include "station/keep/files.h"
#include "station/keep/record_file.h"
#include "station/keep/unit_history.h"
#include "station/keep/unit_lock.h"
#include "station/keep/utc_time.h"
#include "station/store/results_index.h"
#include "station/wrong_use.h"

namespace station {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t longestName = 80;  // bytes, of who settles

// "7731004215/3" or "7731004215/0003"
fs::path folderOf(const SettleRequest& request) {
    const std::size_t slash = request.attempt.rfind('/');
    const int number =
        slash == std::string::npos || slash == 0 ? 0 : attemptNumber(request.attempt.substr(slash + 1));
    if (number == 0) {
        throw WrongUse(request.attempt + ": which attempt? Give UNIT/NUMBER");
    }
    const fs::path folder =
        request.results / unitFolderName(request.attempt.substr(0, slash)) / attemptFolderName(number);
    if (!fs::is_directory(folder)) {
        throw WrongUse(folder.string() + ": there is no such attempt");
    }
    return folder;
}

void requireName(const std::string& by) {
    if (trimmed(by).empty() || by.size() > longestName || utf8FromEither(by) != by ||
        by.find_first_of("\t\n") != std::string::npos) {
        throw WrongUse("--by wants the name of a person, of up to 80 bytes without control characters");
    }
}

// While it runs, its station holds the stream.
void requireNotRunning(const fs::path& folder) {
    const host::Descriptor stream(open((folder / "stream.raw").c_str(), O_RDONLY | O_CLOEXEC));
    if (stream.isOpen() && flock(stream.get(), LOCK_SH | LOCK_NB) != 0) {
        throw WrongUse(folder.string() + ": this attempt still runs");
    }
}

Json readSettled(const fs::path& folder) {
    Json record;
    try {
        record = readRecordFile(folder / "record.json");
    } catch (const std::exception& error) {
        throw WrongUse((folder / "record.json").string() + ": " + error.what());
    }
    const std::string outcome = textOf(record, "outcome");
    const bool isOver = !record.contains("ended") || record["ended"].is_string();
    if (!isOver || (outcome != "needs-person" && outcome != "failed")) {
        throw WrongUse(folder.string() + ": this attempt is " + outcome + ", there is nothing to settle");
    }
    return record;
}

bool hasItem(const Json& items, Outcome outcome) {
    return std::any_of(items.begin(), items.end(), [outcome](const Json& item) {
        return textOf(item, "outcome") == outcomeName(outcome);
    });
}

// A record that somebody changed may hold anything: only what is known to be good is a pass.
bool isAllGood(const Json& record) {
    const Json& items = record["items"];
    return !items.empty() && record["reasons"].empty() &&
           std::all_of(items.begin(), items.end(), [](const Json& item) {
               const std::string outcome = textOf(item, "outcome");
               return outcome == outcomeName(Outcome::passed) || outcome == outcomeName(Outcome::skipped);
           });
}

// A part of the plan is no pass, whoever says what.
void settleOutcomeOf(Json& record) {
    const Json& items = record["items"];
    const bool isOpen = hasItem(items, Outcome::needsPerson);
    Outcome outcome = hasItem(items, Outcome::failed) ? Outcome::failed
                      : isOpen                        ? Outcome::needsPerson
                      : isAllGood(record)             ? Outcome::passed
                                                      : Outcome::incomplete;
    if (outcome == Outcome::passed && record.contains("only")) {
        outcome = Outcome::incomplete;
        record["reasons"].push_back("only a part of the plan was run");
    }
    record["outcome"] = outcomeName(outcome);
}

std::string reasonOf(const SettleRequest& request) {
    return request.by + " says that it is not right";
}

void settleIn(Json& record, const SettleRequest& request) {
    Json& items = record["items"];
    const auto found = std::find_if(items.begin(), items.end(), [&request](const Json& item) {
        return textOf(item, "name") == request.item && textOf(item, "outcome") == "needs-person";
    });
    if (found == items.end()) {
        throw WrongUse(request.attempt + ": it has no item " + request.item + " that needs a person");
    }
    const std::string_view outcome = outcomeName(request.passed ? Outcome::passed : Outcome::failed);
    (*found)["outcome"] = outcome;
    found->erase("reason");
    found->erase("reasons");
    if (!request.passed) {
        (*found)["reason"] = reasonOf(request);
        const std::string name = textOf(*found, "title") + ": " + request.by;
        (*found)["reasons"].push_back({{"zh", name + " 判为不合格, 应为合格"},
                                       {"en", request.item + ": " + reasonOf(request) + ", expected right"}});
    }
    record["settled"].push_back(
        {{"item", request.item}, {"outcome", outcome}, {"by", request.by}, {"at", utcNow()}});
    settleOutcomeOf(record);
}

int countOf(const pugi::xml_node& suite, const char* element) {
    const auto cases = suite.children("testcase");
    return static_cast<int>(std::count_if(cases.begin(), cases.end(), [element](const pugi::xml_node& one) {
        return !one.child(element).empty();
    }));
}

// The first open case of that name is the item's: both files list the items in the same order.
std::string settledJunit(const fs::path& path, const SettleRequest& request) {
    pugi::xml_document document;
    if (!document.load_string(readFile(path).c_str(), pugi::parse_default | pugi::parse_ws_pcdata)) {
        throw WrongUse(path.string() + ": it is no longer what a station wrote");
    }
    pugi::xml_node suite = document.child("testsuites").child("testsuite");
    for (pugi::xml_node one : suite.children("testcase")) {
        if (one.attribute("name").value() == request.item && one.child("skipped")) {
            one.remove_child("skipped");
            if (!request.passed) {
                one.append_child("failure").append_attribute("message") = reasonOf(request).c_str();
            }
            break;
        }
    }
    suite.attribute("failures") = countOf(suite, "failure");
    suite.attribute("skipped") = countOf(suite, "skipped");
    std::ostringstream text;
    document.save(text, "  ", pugi::format_raw, pugi::encoding_utf8);
    return text.str();
}

}  // namespace

ExitStatus settleItem(const SettleRequest& request) {
    requireName(request.by);
    const fs::path folder = folderOf(request);
    const std::string unit = request.attempt.substr(0, request.attempt.rfind('/'));
    const UnitLock lock(request.results, unit);
    requireNotRunning(folder);
    Json record = readSettled(folder);
    settleIn(record, request);
    replaceRecord(folder, record.dump(2, ' ', false, Json::error_handler_t::replace) + "\n",
                  settledJunit(folder / "junit.xml", request));
    noteAttempt(request.results, folder);
    const std::string outcome = textOf(record, "outcome");
    std::cout << request.attempt << ": " << request.item << ' ' << (request.passed ? "passed" : "failed")
              << ", the unit: " << outcome << '\n';
    return outcome == "passed" ? exitPassed : outcome == "failed" ? exitFailed : exitIncomplete;
}

}  // namespace station
