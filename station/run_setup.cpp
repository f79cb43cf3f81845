#include "station/run_setup.h"

#include <cmath>

#include "host/child_process.h"
#include "host/toml_section.h"
#include "station/interpret/text.h"
#include "station/keep/run_history.h"
#include "station/keep/utc_time.h"
#include "station/product/read_product.h"
#include "station/station_identity.h"
#include "station/sync/shared_history.h"

namespace station {

namespace {

std::unique_ptr<const Product> productOf(const Options& options) {
    if (options.product.empty()) {
        return nullptr;
    }
    try {
        return prepare([&] { return std::make_unique<const Product>(readProduct(options.product)); });
    } catch (const host::TomlError& error) {
        throw WrongUse(error.what());
    }
}

std::vector<Part> partsOf(const Options& options, const Product* product,
                          const std::vector<std::string>& command) {
    const std::vector<Part> plan = product == nullptr ? std::vector<Part>{Part()} : product->plan;
    const std::vector<Part> parts = options.only.empty() ? plan : partsFor(options.only, plan);
    for (const Part& part : parts) {
        (void)commandOf(part, command);
    }
    return parts;
}

GateRules rulesOf(const Product& product, const AttemptInfo& info) {
    GateRules rules;
    rules.serialPattern = product.serialPattern.value_or("");
    rules.serialFits =
        !product.serialPattern || !info.unit || matchesPattern(rules.serialPattern, *info.unit);
    rules.failedAttemptsAllowed = product.failedAttemptsAllowed;
    rules.goldenUnit = product.goldenUnit;
    return rules;
}

void openHistory(const Options& options, AttemptSetup& setup) {
    if (options.database.empty()) {
        setup.history = std::make_shared<const FolderHistory>(options.results);
        return;
    }
    const auto shared = std::make_shared<const SharedHistory>(options.results, options.database);
    setup.info.historyFrom = [shared] { return shared->isReached() ? "database" : "folder"; };
    setup.history = shared;
}

}  // namespace

std::unique_ptr<Session> openSession(const Options& options, const AttemptSetup& setup) {
    const Language language = options.language == "en" ? Language::english : Language::chinese;
    auto session = prepare(
        [&] { return std::make_unique<Session>(options.results, setup.info, language, setup.parts); });
    session->product = setup.product;
    if (setup.product) {
        session->ownerOfMac = [history = setup.history, unit = setup.info.unit, results = options.results,
                               lock = std::shared_ptr<host::Descriptor>()](const std::string& mac) mutable {
            if (!unit) {
                return std::string();
            }
            if (!lock) {
                lock = std::make_shared<host::Descriptor>(lockAddresses(results));
            }
            return history->ownerOfMac(mac, *unit);
        };
    }
    return session;
}

ClockJudge judgeOf(const Options& options) {
    return options.clock == "ask"    ? ClockJudge::ask
           : options.clock == "auto" ? ClockJudge::automatic
                                     : ClockJudge::leave;
}

AttemptSetup setUpAttempt(const Options& options, const std::vector<std::string>& command) {
    if (!options.gate.repaired.empty() && trimmed(options.gate.repaired).empty()) {
        throw WrongUse("--repaired wants what was repaired");
    }
    AttemptSetup setup;
    AttemptInfo& info = setup.info;
    info.unit = chosenUnit(options);
    info.id = prepare([] { return newAttemptId(); });
    info.started = utcNow();
    info.station = stationInfo(options);
    info.command = command;
    info.only = options.only;
    info.repaired = options.gate.repaired;
    setup.product = productOf(options);
    if (setup.product) {
        info.product = ProductInfo{setup.product->name, setup.product->sha256};
    }
    setup.parts = partsOf(options, setup.product.get(), command);
    setup.lock = prepare([&] { return std::make_unique<UnitLock>(options.results, info.unit); });
    if (setup.product) {
        openHistory(options, setup);
        info.overrides = prepare(
            [&] { return passGate(rulesOf(*setup.product, info), options.gate, *setup.history, info); });
    }
    return setup;
}

double limitOf(const Options& options, const Part& part) {
    if (options.timeoutSeconds && !std::isfinite(*options.timeoutSeconds)) {
        throw WrongUse("--timeout wants a number of seconds");
    }
    if (!options.timeoutSeconds && part.limitSeconds > 0) {
        return part.limitSeconds;
    }
    return options.timeoutSeconds ? *options.timeoutSeconds : defaultLimit(readHistory(options.results));
}

void requireProgram(const std::string& name) {
    if (host::findProgram(name).empty()) {
        throw WrongUse(name + ": there is no such program");
    }
}

}  // namespace station
