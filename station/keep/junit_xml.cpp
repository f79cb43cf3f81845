#include "station/keep/junit_xml.h"

#include <cmath>
#include <pugixml.hpp>
#include <sstream>
#include <vector>

#include "station/interpret/items.h"

namespace station {

namespace {

struct Case {
    std::string name;
    Outcome outcome;
    std::string reason;
    double seconds;
};

double milliseconds(double seconds) {
    return std::round(seconds * 1000) / 1000;
}

// needs-person is "skipped" here: the format knows no word for a case that waits.
const char* elementOf(Outcome outcome) {
    switch (outcome) {
        case Outcome::failed:
            return "failure";
        case Outcome::incomplete:
            return "error";
        default:
            return "skipped";
    }
}

void addCase(pugi::xml_node suite, const Case& one) {
    pugi::xml_node testCase = suite.append_child("testcase");
    testCase.append_attribute("classname") = "r8";
    testCase.append_attribute("name") = one.name.c_str();
    testCase.append_attribute("time") = milliseconds(one.seconds);
    if (one.outcome != Outcome::passed) {
        const std::string reason = one.reason.empty() ? std::string(outcomeName(one.outcome)) : one.reason;
        testCase.append_child(elementOf(one.outcome)).append_attribute("message") = reason.c_str();
    }
}

double secondsOf(const TestRun& run, std::string_view name) {
    for (const Step& step : run.steps) {
        if (step.name == name) {
            return step.end - step.start;
        }
    }
    return 0;
}

// Both languages: who reads it is not known.
std::string messageOf(const Item& item) {
    std::string message;
    for (const Words& words : item.reasons) {
        message += (message.empty() ? "" : "; ") + words.zh + " / " + words.en;
    }
    return message.empty() ? item.reason : message;
}

void addItems(const TestRun& run, std::vector<Case>& cases) {
    for (const Item& item : run.items) {
        if (item.isOfThisBoard()) {
            const std::string name(item.row->name);
            cases.push_back({name, item.outcome, messageOf(item), secondsOf(run, name)});
        }
    }
    for (const TestRun& single : run.singles) {
        addItems(single, cases);
    }
}

std::string allLines(const TestRun& run) {
    std::string text;
    for (const Step& step : run.steps) {
        for (const Line& line : step.lines) {
            text += line.text + "\n";
        }
    }
    for (const TestRun& single : run.singles) {
        text += allLines(single);
    }
    return text;
}

// The run as a whole is a case too: a torn stream has to show even where every item has its verdict.
Case wholeRun(const TestRun& run) {
    std::string reasons;
    for (const std::string& reason : run.reasons) {
        reasons += (reasons.empty() ? "" : "; ") + reason;
    }
    return {"run", run.reasons.empty() ? Outcome::passed : Outcome::incomplete, reasons, run.seconds};
}

std::vector<Case> casesOf(const TestRun& run) {
    std::vector<Case> cases;
    addItems(run, cases);
    cases.push_back(wholeRun(run));
    return cases;
}

}  // namespace

std::string junitXml(const AttemptInfo& info, const TestRun& run) {
    pugi::xml_document document;
    pugi::xml_node suite = document.append_child("testsuites").append_child("testsuite");
    suite.append_attribute("name") = info.unit.value_or("bench").c_str();
    suite.append_attribute("timestamp") = info.started.c_str();
    suite.append_attribute("time") = milliseconds(run.seconds);

    const std::vector<Case> cases = casesOf(run);
    int failures = 0;
    int errors = 0;
    int skipped = 0;
    for (const Case& one : cases) {
        addCase(suite, one);
        failures += one.outcome == Outcome::failed;
        errors += one.outcome == Outcome::incomplete;
        skipped += one.outcome == Outcome::skipped || one.outcome == Outcome::needsPerson;
    }
    suite.append_attribute("tests") = cases.size();
    suite.append_attribute("failures") = failures;
    suite.append_attribute("errors") = errors;
    suite.append_attribute("skipped") = skipped;
    suite.append_child("system-out").text() = allLines(run).c_str();
    std::ostringstream text;
    document.save(text, "  ", pugi::format_default, pugi::encoding_utf8);
    return text.str();
}

}  // namespace station
