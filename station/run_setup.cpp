#include "station/run_setup.h"

#include <cmath>

#include "host/child_process.h"
#include "station/keep/run_history.h"
#include "station/keep/utc_time.h"

namespace station {

std::unique_ptr<Session> openSession(const Options& options, const AttemptInfo& info,
                                     const std::vector<Part>& parts) {
    const Language language = options.language == "en" ? Language::english : Language::chinese;
    return prepare([&] { return std::make_unique<Session>(options.results, info, language, parts); });
}

ClockJudge judgeOf(const Options& options) {
    return options.clock == "ask"    ? ClockJudge::ask
           : options.clock == "auto" ? ClockJudge::automatic
                                     : ClockJudge::leave;
}

AttemptInfo describeAttempt(const Options& options) {
    AttemptInfo info;
    info.unit = chosenUnit(options);
    info.started = utcNow();
    info.command = options.command;
    info.only = options.only;
    return info;
}

// Whatever of it can't be run is refused before anything is.
std::vector<Part> partsOf(const Options& options, const std::vector<std::string>& command) {
    const std::vector<Part> plan = {Part()};
    const std::vector<Part> parts = options.only.empty() ? plan : partsFor(options.only, plan);
    for (const Part& part : parts) {
        (void)commandOf(part, command);
    }
    return parts;
}

double limitOf(const Options& options, const Part& part) {
    if (part.limitSeconds > 0) {
        return part.limitSeconds;
    }
    if (options.timeoutSeconds && !std::isfinite(*options.timeoutSeconds)) {
        throw WrongUse("--timeout wants a number of seconds");
    }
    return options.timeoutSeconds ? *options.timeoutSeconds : defaultLimit(readHistory(options.results));
}

void requireProgram(const std::string& name) {
    if (host::findProgram(name).empty()) {
        throw WrongUse(name + ": there is no such program");
    }
}

}  // namespace station
