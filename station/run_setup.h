#pragma once

// What every way to a run needs before it, from the command line.

#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "station/command_line.h"
#include "station/keep/unit_lock.h"
#include "station/plan/plan.h"
#include "station/product/product.h"
#include "station/session.h"
#include "station/store/history.h"
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

// An attempt that may begin.
struct AttemptSetup {
    AttemptInfo info;
    std::shared_ptr<const Product> product;  // null: nothing told the station what to expect
    std::vector<Part> parts;                 // what is to be run
    std::shared_ptr<const History> history;
    std::unique_ptr<UnitLock> lock;  // the unit is this station's until the setup goes away
};

// With the full run's command. Whatever can't be run is refused, and so is a unit that the gate keeps out.
AttemptSetup setUpAttempt(const Options& options, const std::vector<std::string>& command);

// Seconds that the part may take; 0: for ever.
double limitOf(const Options& options, const Part& part = {});

ClockJudge judgeOf(const Options& options);

void requireProgram(const std::string& name);

std::unique_ptr<Session> openSession(const Options& options, const AttemptSetup& setup);

}  // namespace station
