#pragma once

// What was before, on all stations.

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "station/store/history.h"

namespace station {

// Asks the folder, and the database of many stations for as long as that answers: each question has 2 s, and
// once it did not there are no more. What the folder has and the database not yet counts as well, each
// attempt once. Whether the golden unit has passed today is this station's own matter.
class SharedHistory : public History {
  public:
    SharedHistory(const std::filesystem::path& results, std::string address)
        : results_(results), address_(std::move(address)), folder_(results) {}

    int passedBefore(const std::string& unit) const override;
    int failedAttempts(const std::string& unit) const override;
    std::string ownerOfMac(const std::string& mac, const std::string& unit) const override;
    bool passedToday(const std::string& unit) const override { return folder_.passedToday(unit); }

    // Whether the database has answered all questions so far.
    bool isReached() const { return !isAway_; }

  private:
    using Rows = std::vector<std::vector<std::string>>;

    std::optional<Rows> ask(int columns, const std::string& sql, const std::vector<std::string>& texts) const;

    std::filesystem::path results_;
    std::string address_;
    FolderHistory folder_;
    mutable bool isAway_ = false;
};

}  // namespace station
