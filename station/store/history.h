#pragma once

// What was before, as the gate asks for it.

#include <filesystem>
#include <stdexcept>
#include <string>

namespace station {

// A record that would have to be known can't be read: nobody can tell.
struct UnknownHistory : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Attempts that are a part of the plan only count nowhere. All of it throws UnknownHistory and
// std::system_error.
class History {
  public:
    virtual ~History() = default;

    // The number of an attempt that the unit passed with; 0: none.
    virtual int passedBefore(const std::string& unit) const = 0;
    // How many failed since the last one that began with a note of a repair.
    virtual int failedAttempts(const std::string& unit) const = 0;
    // Another unit that has that address: its name; empty: nobody has it. One that the unit passed with stays
    // its own, whoever else comes with it, until another unit passes with it.
    virtual std::string ownerOfMac(const std::string& mac, const std::string& unit) const = 0;
    // Whether the unit passed by a product on this machine's day of today.
    virtual bool passedToday(const std::string& unit) const = 0;
};

// From the attempts' folders, each time anew.
class FolderHistory : public History {
  public:
    explicit FolderHistory(std::filesystem::path results) : results_(std::move(results)) {}

    int passedBefore(const std::string& unit) const override;
    int failedAttempts(const std::string& unit) const override;
    std::string ownerOfMac(const std::string& mac, const std::string& unit) const override;
    bool passedToday(const std::string& unit) const override;

  private:
    bool hasPassedWith(const std::string& mac, const std::string& unit) const;

    std::filesystem::path results_;
};

}  // namespace station
