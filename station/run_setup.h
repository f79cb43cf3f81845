#pragma once

// What every way to a run needs before it, from the command line.

#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "station/command_line.h"
#include "station/plan/plan.h"
#include "station/session.h"
#include "station/wrong_use.h"

namespace station {

// What fails while nothing has been tested is wrong use, as far as a script is concerned.
template <typename Preparation>
auto prepare(const Preparation& preparation) {
    try {
        return preparation();
    } catch (const std::system_error& error) {
        throw WrongUse(error.what());
    }
}

// All of these throw WrongUse.

// What is known of the attempt by now.
AttemptInfo describeAttempt(const Options& options);

// What is to be run, with the full run's command. Whatever of it can't be run is refused before anything is.
std::vector<Part> partsOf(const Options& options, const std::vector<std::string>& command);

// Seconds that the part may take; 0: for ever.
double limitOf(const Options& options, const Part& part = {});

ClockJudge judgeOf(const Options& options);

void requireProgram(const std::string& name);

std::unique_ptr<Session> openSession(const Options& options, const AttemptInfo& info,
                                     const std::vector<Part>& parts);

}  // namespace station
