#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "host/descriptor.h"

namespace station {

// Of several stations on the same results, one tests a unit at a time. Held as long as this object lives; a
// bench without a unit is free of it.
class UnitLock {
  public:
    // Throws WrongUse where another station has the unit, and std::system_error.
    UnitLock(const std::filesystem::path& results, const std::optional<std::string>& unit);
    // A unit without attempts leaves nothing behind.
    ~UnitLock();
    UnitLock(const UnitLock&) = delete;
    UnitLock& operator=(const UnitLock&) = delete;

  private:
    std::filesystem::path path_;
    host::Descriptor file_;
};

// Held while an attempt asks whose its addresses are and keeps them: of two units with one address that end
// at the same moment the second one sees the first. Waits for that. Throws std::system_error.
host::Descriptor lockAddresses(const std::filesystem::path& results);

}  // namespace station
