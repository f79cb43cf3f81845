#include "station/product/read_product.h"

#define TOML_EXCEPTIONS 0
#include <toml++/toml.h>

#include <algorithm>

#include "station/interpret/items.h"
#include "station/keep/files.h"
#include "station/product/read_limits.h"

namespace station {

namespace {

using host::Section;

// "00:1a:2b:3c:4d:5e", or the first bytes of one.
std::string readAddress(Section& section, const std::string& key, int mostBytes) {
    std::string text;
    section.text(key, text);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    const std::string bytes = std::to_string(mostBytes - 1);
    if (section.has(key) && !matchesPattern("[0-9a-f]{2}(:[0-9a-f]{2}){" + bytes + "}", text)) {
        section.fail(key, "is " + std::to_string(mostBytes) + " bytes with colons, such as \"00:1a:2b\"");
    }
    return text;
}

void readMac(Section& section, MacLimits& mac) {
    constexpr int prefixBytes = 3;
    constexpr int addressBytes = 6;
    if (section.has("count")) {
        std::uint8_t count = 0;
        section.number("count", count);
        mac.count = count;
    }
    const std::string prefix = readAddress(section, "prefix", prefixBytes);
    const std::string first = readAddress(section, "first", addressBytes);
    const std::string last = readAddress(section, "last", addressBytes);
    if (!prefix.empty()) {
        mac.range.minimum = prefix + ":00:00:00";
        mac.range.maximum = prefix + ":ff:ff:ff";
    }
    for (const auto& [key, address, limit] :
         {std::tuple("first", first, &mac.range.minimum), {"last", last, &mac.range.maximum}}) {
        if (!address.empty() && !mac.range.holds(Value(address))) {
            section.fail(key, "is not of that prefix, or the last is before the first");
        }
        if (!address.empty()) {
            *limit = address;
        }
    }
}

void readGate(Section& section, Product& product) {
    product.serialPattern = readPattern(section, "serial");
    if (section.has("failedAttempts")) {
        product.failedAttemptsAllowed.emplace();
        std::uint8_t allowed = 0;
        section.number("failedAttempts", allowed);
        product.failedAttemptsAllowed = allowed;
    }
    if (section.has("goldenUnit")) {
        section.text("goldenUnit", product.goldenUnit.emplace());
        if (product.goldenUnit->empty()) {
            section.fail("goldenUnit", "is the name of a unit");
        }
    }
}

double readSeconds(Section& section, const std::string& key, double otherwise) {
    std::chrono::nanoseconds time =
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(otherwise));
    section.seconds(key, time);
    const double seconds = std::chrono::duration<double>(time).count();
    if (seconds <= 0) {
        section.fail(key, "is more than 0 seconds");
    }
    return seconds;
}

Part readTest(Section& section, bool& before) {
    constexpr double usualLimitSeconds = 180;
    constexpr double usualAnswerSeconds = 60;
    constexpr int mostRepetitions = 99;
    Part part;
    section.number("number", part.test);
    if (itemOfSingleTest(part.test) == nullptr) {
        section.fail("number", "is the number of a single test of the tool");
    }
    section.number("count", part.repetitions);
    if (part.repetitions < 1 || part.repetitions > mostRepetitions) {
        section.fail("count", "is a number from 1 to 99");
    }
    if (part.repetitions != 1 && itemOfSingleTest(part.test)->singleRunsOnce) {
        section.fail("count", "is 1: the repetitions of this test can't be told apart");
    }
    section.choice("when", before, {{"before", true}, {"after", false}});
    part.limitSeconds = readSeconds(section, "limitSeconds", usualLimitSeconds);
    section.flag("ask", part.asks);
    part.answerSeconds = readSeconds(section, "answerSeconds", usualAnswerSeconds);
    if (part.asks && questionAbout(itemOfSingleTest(part.test)->name) == nullptr) {
        section.fail("ask", "is true, but nobody needs to be asked about this test");
    }
    return part;
}

std::vector<Part> readPlan(Section& section) {
    std::vector<Part> before;
    std::vector<Part> behind = {Part()};  // the full run
    section.each("test", [&](Section& test) {
        bool isBefore = false;
        const Part part = readTest(test, isBefore);
        (isBefore ? before : behind).push_back(part);
    });
    before.insert(before.end(), behind.begin(), behind.end());
    return before;
}

// An item that only a single test has, and that the plan does not.
bool isOutsideOfPlan(const ItemRow& row, const std::vector<Part>& plan) {
    return row.presence == Presence::onlyAlone &&
           std::none_of(plan.begin(), plan.end(),
                        [&row](const Part& part) { return part.test != 0 && part.test == row.singleTest; });
}

void readItem(Section& section, const ItemRow& row, Product& product) {
    const std::string name(row.name);
    if (!section.has(name)) {
        return;
    }
    if (!section.isTable(name)) {
        section.fail(name, "is a table");
    }
    section.each(name, [&](Section& item) { product.items[name] = readItemLimits(item, name); });
    if (product.items[name].tested && isOutsideOfPlan(row, product.plan)) {
        section.fail(name, "needs a [[test]] with number = " + std::to_string(row.singleTest));
    }
}

}  // namespace

Product readProductText(const std::string& text, const std::string& file) {
    const toml::table table = host::parseToml(text, file);
    Section section(table, file, "");
    Product product;
    product.name = std::filesystem::path(file).filename();
    if (table.empty()) {
        throw host::TomlError(file + ":1: says nothing of a product");
    }
    for (const char* const once : {"unit", "mac"}) {  // the keys of a first one would be lost
        if (section.has(once) && !section.isTable(once)) {
            section.fail(once, "is a table");
        }
    }
    section.each("unit", [&](Section& unit) { readGate(unit, product); });
    section.each("mac", [&](Section& mac) { readMac(mac, product.mac); });
    product.plan = readPlan(section);
    for (const ItemRow* const row : itemRows) {
        readItem(section, *row, product);
    }
    section.finish();
    return product;
}

Product readProduct(const std::filesystem::path& path) {
    const std::string text = readFile(path);
    Product product = readProductText(text, path);
    product.sha256 = sha256OfText(text);
    return product;
}

}  // namespace station
