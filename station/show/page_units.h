#pragma once

// The units of the report's page, as compact JSON.

#include <map>
#include <string>

#include "station/show/report_data.h"

namespace station {

// Texts that come again and again are on the page once.
class PageTexts {
  public:
    // Its place in list().
    std::size_t place(std::string_view text);

    // A JSON array.
    std::string list() const;

    std::size_t bytes() const { return bytes_; }

  private:
    std::size_t bytes_ = 0;
    std::map<std::string, std::size_t> places_;
};

// Some of the units, as JSON.
struct PagePart {
    std::string json;
    std::size_t units = 0;
};

// Those that did not pass at last, then the others; each as they come.
std::vector<const UnitLine*> inOrderOfAttention(const std::deque<UnitLine>& units);

// An array with one array for each unit: name, attempts, place of its first outcome, of its last, seconds
// since 1970 of the last start, places of product, station and failed items.
PagePart unitRows(const std::vector<const UnitLine*>& units, PageTexts& texts, std::size_t mostBytes);

// An object: of each unit its attempts, the newest first, with what was measured. Throws DatabaseError.
PagePart unitDetails(Database& database, const std::vector<const UnitLine*>& units, std::size_t mostBytes);

}  // namespace station
