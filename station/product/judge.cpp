#include "station/product/judge.h"

#include <algorithm>

#include "station/interpret/items.h"
#include "station/interpret/verdict.h"
#include "station/product/checks.h"
#include "station/product/reasons.h"

namespace station {

namespace {

const ItemLimits* limitsOf(const Product* product, const Item& item) {
    if (product == nullptr) {
        return nullptr;
    }
    const auto found = product->items.find(std::string(item.row->name));
    return found == product->items.end() ? nullptr : &found->second;
}

// What the item has to be like on a unit of the product. The addresses come with the description of the
// board, in the full run only.
std::vector<ElementCheck> checksBy(const Product& product, const TestRun& run, const Item& item) {
    const ItemLimits* const limits = limitsOf(&product, item);
    std::vector<ElementCheck> checks =
        limits == nullptr ? std::vector<ElementCheck>() : checksOf(run, item, *limits, true);
    if (run.isSingle) {
        std::erase_if(checks,
                      [](const ElementCheck& one) { return one.row != nullptr && one.row->isOfSummary; });
    } else if (item.row == &BoardDescription::row) {
        for (ElementCheck& check : macChecks(run, product.mac)) {
            checks.push_back(std::move(check));
        }
    }
    return checks;
}

// Never better than before.
Outcome worsened(Outcome outcome, const std::vector<ElementCheck>& checks) {
    const bool isOutside = std::any_of(checks.begin(), checks.end(), [](const ElementCheck& one) {
        return !one.check.passed && (one.check.measured || one.isMissing);
    });
    const bool isUnseen =
        std::any_of(checks.begin(), checks.end(), [](const ElementCheck& one) { return !one.check.passed; });
    if (outcome == Outcome::incomplete || outcome == Outcome::failed) {
        return outcome;
    }
    return isOutside ? Outcome::failed : isUnseen ? Outcome::incomplete : outcome;
}

void judgeItem(const Product& product, const TestRun& run, Item& item) {
    const ItemLimits* const limits = limitsOf(&product, item);
    item.wanted = limits != nullptr && limits->tested;
    if (!item.isOfThisBoard()) {
        return;
    }
    const std::vector<ElementCheck> checks = checksBy(product, run, item);
    item.outcome = worsened(item.outcome, checks);
    item.checks.clear();
    for (const ElementCheck& one : checks) {
        item.checks.push_back(one.check);
    }
    const std::vector<Words> reasons = reasonsOf(item, checks);
    if (item.reason.empty() && !reasons.empty()) {
        item.reason = reasons.front().en;
    }
}

bool hasTested(const TestRun& run, std::string_view name) {
    const auto isIt = [name](const Item& item) { return item.row->name == name && item.isOfThisBoard(); };
    return std::any_of(run.items.begin(), run.items.end(), isIt) ||
           std::any_of(run.singles.begin(), run.singles.end(),
                       [name](const TestRun& single) { return hasTested(single, name); });
}

void explainItem(const TestRun& run, Item& item, const Product* product) {
    if (item.outcome != Outcome::failed && item.outcome != Outcome::incomplete) {
        return;
    }
    const auto addOnce = [&item](const std::vector<Words>& reasons) {
        for (const Words& words : reasons) {
            const bool isNew = std::none_of(item.reasons.begin(), item.reasons.end(),
                                            [&words](const Words& other) { return other.en == words.en; });
            if (isNew) {
                item.reasons.push_back(words);
            }
        }
    };
    if (product != nullptr) {
        addOnce(reasonsOf(item, checksBy(*product, run, item)));
    }
    if (item.reasons.empty() || item.verdict == false || !item.contradiction.empty()) {
        addOnce(reasonsOfTool(run, item, limitsOf(product, item)));
    }
}

}  // namespace

void judgeByProduct(TestRun& run, const Product* product, bool whole) {
    if (product == nullptr) {
        return;
    }
    for (Item& item : run.items) {
        judgeItem(*product, run, item);
    }
    for (TestRun& single : run.singles) {
        for (Item& item : single.items) {
            judgeItem(*product, single, item);
        }
    }
    for (const auto& [name, limits] : product->items) {
        if (whole && limits.tested && !hasTested(run, name)) {
            run.reasons.push_back("the product has the item " + name + ", which was not tested");
        }
    }
    settleOutcome(run);
}

void explain(TestRun& run, const Product* product) {
    for (Item& item : run.items) {
        explainItem(run, item, product);
    }
    for (TestRun& single : run.singles) {
        for (Item& item : single.items) {
            explainItem(single, item, product);
        }
    }
}

}  // namespace station
