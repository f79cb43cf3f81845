#include "station/plan/whole_run.h"

#include <utility>

#include "station/interpret/items.h"
#include "station/interpret/verdict.h"

namespace station {

namespace {

// In a part of the plan without that item, nothing but the run can carry it.
void failNetwork(TestRun& run, const std::string& mac, const std::string& owner) {
    const std::string reason = "MAC " + mac + " belongs to unit " + owner;
    TestRun* tested = run.item<Network>().isPart ? &run : nullptr;
    for (TestRun& single : run.singles) {
        tested = tested == nullptr && single.item<Network>().isPart ? &single : tested;
    }
    if (tested == nullptr) {
        run.reasons.push_back(reason);
        return;
    }
    Item& item = tested->item<Network>();
    item.outcome = Outcome::failed;
    item.reason = reason;
    item.reasons.push_back(
        {"MAC地址" + mac + ": 属于设备 " + owner + ", 应只属于本机",
         "MAC address " + mac + ": belongs to unit " + owner + ", expected this unit alone"});
}

}  // namespace

void joinSingle(TestRun& run, SingleTest& test) {
    for (const std::string& reason : test.run.reasons) {
        run.reasons.push_back(std::string(test.row().name) + ": " + reason);
    }
    std::vector<std::string>& macs = run.board.macs;
    macs = macs.empty() ? test.run.board.macs : macs;  // the full run's, which lacks none of them
    run.lostLines += test.run.lostLines;
    run.singles.push_back(std::move(test.run));
}

void leaveOutFullRun(TestRun& run) {
    for (Item& item : run.items) {
        item.isPart = false;
    }
}

void checkAddresses(TestRun& run, const OwnerOfMac& ownerOfMac) {
    try {
        for (const std::string& mac : ownerOfMac ? run.board.macs : std::vector<std::string>()) {
            const std::string owner = ownerOfMac(mac);
            if (!owner.empty()) {
                failNetwork(run, mac, owner);
            }
        }
    } catch (const std::exception& error) {
        run.reasons.push_back(std::string("it is not known whether the MAC addresses are another unit's: ") +
                              error.what());
    }
}

void settleWhole(TestRun& run, bool isPartOfPlan) {
    settleOutcome(run);
    if (isPartOfPlan && run.outcome == Outcome::passed) {
        run.reasons.push_back("only a part of the plan was run");
        settleOutcome(run);
    }
}

}  // namespace station
