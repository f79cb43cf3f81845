#include "station/plan/gate.h"

#include "station/wrong_use.h"

namespace station {

namespace {

// One question of the gate: why it is closed, and what opens it all the same.
struct GateQuestion {
    const char* gate;
    const char* option;
    std::string why;  // empty: it is open
    bool overridden;
    std::string text;  // of the option
};

std::string whyPassed(const History& history, const std::string& unit) {
    const int number = history.passedBefore(unit);
    return number == 0 ? "" : "unit " + unit + " has passed already, with attempt " + std::to_string(number);
}

std::string whyFailed(const History& history, const std::string& unit, int allowed) {
    const int failed = history.failedAttempts(unit);
    return failed <= allowed ? ""
                             : "unit " + unit + " has failed " + std::to_string(failed) + " times, " +
                                   std::to_string(allowed) + " are allowed without a repair";
}

std::string whyGolden(const History& history, const std::string& golden) {
    return history.passedToday(golden) ? "" : "the golden unit " + golden + " has not passed today";
}

// What can't be told keeps the gate closed.
template <typename Why>
std::string toldBy(const Why& why) {
    try {
        return why();
    } catch (const UnknownHistory& error) {
        return std::string("nobody can tell what was before: ") + error.what();
    }
}

std::vector<GateQuestion> questionsOf(const GateRules& rules, const GateOptions& options,
                                      const History& history, const AttemptInfo& info) {
    const std::string& unit = *info.unit;
    std::vector<GateQuestion> questions = {
        {"serial", "--any-serial",
         rules.serialFits ? "" : "unit " + unit + ": its name is not as " + rules.serialPattern + " says",
         options.anySerial, ""}};
    if (!info.only.empty() || rules.goldenUnit == unit) {
        return questions;
    }
    questions.push_back(
        {"passed", "--again", toldBy([&] { return whyPassed(history, unit); }), options.again, ""});
    if (rules.failedAttemptsAllowed) {
        questions.push_back({"failed-attempts", "--repaired TEXT",
                             toldBy([&] { return whyFailed(history, unit, *rules.failedAttemptsAllowed); }),
                             !options.repaired.empty(), options.repaired});
    }
    if (rules.goldenUnit) {
        questions.push_back({"golden", "--no-golden",
                             toldBy([&] { return whyGolden(history, *rules.goldenUnit); }), options.noGolden,
                             ""});
    }
    return questions;
}

}  // namespace

std::vector<GateOverride> passGate(const GateRules& rules, const GateOptions& options, const History& history,
                                   const AttemptInfo& info) {
    std::vector<GateOverride> overrides;
    if (!info.unit) {
        return overrides;
    }
    for (const GateQuestion& question : questionsOf(rules, options, history, info)) {
        if (!question.why.empty() && !question.overridden) {
            throw WrongUse(question.why + "; " + question.option + " tests it all the same");
        }
        if (!question.why.empty()) {
            const std::string option(question.option);
            overrides.push_back({question.gate, option.substr(0, option.find(' ')),
                                 question.text.empty() ? question.why : question.text});
        }
    }
    return overrides;
}

}  // namespace station
