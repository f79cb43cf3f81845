#pragma once

// Every value that a product file can limit, with the words that a person reads of it: the one table that the
// file's reader, the judge, the reasons and the first product file of a good unit stand on.

#include <span>
#include <string_view>

#include "station/interpret/check.h"

namespace station {

// What a limit of the value may be.
enum class ValueKind { number, flag, text, date };

// What a first product file asks for, from what a good unit has.
enum class Suggestion { same, atLeast, atMost, near, none };

struct WordsView {
    std::string_view zh;
    std::string_view en;
};

// "{}" in a text stands for the value, or for the element's name.
struct ValueRow {
    std::string_view item;  // its name
    std::string_view list;  // of whose elements it is a value; empty: of the item
    std::string_view key;   // in the product file
    std::string_view path;  // among the measured values, see seenValues
    ValueKind kind;
    WordsView name;    // of what is measured; rows of one list have the same
    WordsView format;  // the value with its unit
    Suggestion suggestion = Suggestion::same;
    WordsView yes = {};  // of a flag, instead of the format
    WordsView no = {};
    bool isOfSummary = false;  // the summary of the full run has it, a single test has not
};

std::span<const ValueRow> valueRows();

// A list whose elements a product file can describe one by one.
struct ElementRow {
    std::string_view item;
    std::string_view list;  // "drives"
    std::string_view key;   // of its table in the product file: [[sata.drive]]
    std::string_view id;    // the value that says which element it is
};
std::span<const ElementRow> elementRows();

}  // namespace station
