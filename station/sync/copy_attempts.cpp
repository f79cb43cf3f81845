#include "station/sync/copy_attempts.h"

#include <algorithm>
#include <ctime>
#include <optional>
#include <span>
#include <string_view>
#include <unordered_map>

#include "station/store/attempt_writer.h"
#include "station/store/index_tables.h"
#include "station/store/results_index.h"

namespace station {

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t longestRun = 86400;  // seconds; who has no end behind that has no station any more
constexpr std::size_t askedAtOnce = 5000;
constexpr std::size_t copiedAtOnce = 250;
constexpr int mostCollisions = 20;  // with other stations that write the same rows

// An attempt as one of the two has it.
struct Known {
    std::string unit, id, place;
    std::int64_t started = 0;
    std::optional<std::int64_t> ended;
    std::string settled;  // what was settled, one after the other
};

// Texts of a database have no line breaks where they are keys.
std::string keyOf(std::string_view unit, std::string_view id) {
    return std::string(unit) + '\n' + std::string(id);
}

// SQLite knows how to put lists together in their order only since its newest versions.
std::unordered_map<std::string, std::string> settledHere(Database& index) {
    std::unordered_map<std::string, std::string> settled;
    index.query(
        "SELECT unit, attempt, item, outcome, person, settled FROM settlement"
        " ORDER BY unit, attempt, position",
        {}, [&](const Row& row) {
            std::string& text = settled[keyOf(row.text(0), row.text(1))];
            for (int column = 2; column <= 5; ++column) {
                text += std::string(row.text(column)) + '\n';
            }
        });
    return settled;
}

std::vector<Known> attemptsHere(Database& index) {
    const auto settled = settledHere(index);
    std::vector<Known> attempts;
    index.query(
        "SELECT unit, id, place, started, ended FROM attempt a WHERE running = 0 AND (started < $1 OR NOT "
        "EXISTS"
        " (SELECT 1 FROM folder f WHERE f.id = a.id AND f.unit = a.unit AND f.may_run = 1))"
        " ORDER BY started, id",
        {std::int64_t{std::time(nullptr)} - longestRun}, [&](const Row& row) {
            Known& one = attempts.emplace_back();
            one.unit = row.text(0);
            one.id = row.text(1);
            one.place = row.text(2);
            one.started = row.integer(3);
            one.ended = row.isNull(4) ? std::nullopt : std::optional(row.integer(4));
            const auto found = settled.find(keyOf(one.unit, one.id));
            one.settled = found == settled.end() ? "" : found->second;
        });
    return attempts;
}

// A list of texts as PostgreSQL reads it.
class TextList {
  public:
    void add(const std::string& text) {
        list_ += list_.size() == 1 ? "\"" : ",\"";
        for (const char character : text) {
            list_ += character == '"' || character == '\\' ? "\\" : "";
            list_ += character;
        }
        list_ += '"';
    }
    std::string text() const { return list_ + "}"; }

  private:
    std::string list_ = "{";
};

// Of these attempts, those that the database has.
std::unordered_map<std::string, Known> attemptsThere(Postgres& database, std::span<const Known> asked) {
    TextList units;
    TextList ids;
    for (const Known& one : asked) {
        units.add(one.unit);
        ids.add(one.id);
    }
    std::unordered_map<std::string, Known> there;
    database.query(
        "SELECT a.unit, a.id, a.started, a.ended, COALESCE((SELECT string_agg(s.item || E'\\n' || s.outcome "
        "||"
        " E'\\n' || s.person || E'\\n' || s.settled || E'\\n', '' ORDER BY s.position)"
        " FROM settlement s WHERE s.unit = a.unit AND s.attempt = a.id), '')"
        " FROM unnest($1::text[], $2::text[]) AS asked (unit, id)"
        " JOIN attempt a ON a.unit = asked.unit AND a.id = asked.id",
        {units.text(), ids.text()}, [&](const Row& row) {
            Known& one = there[keyOf(row.text(0), row.text(1))];
            one.started = row.integer(2);
            one.ended = row.isNull(3) ? std::nullopt : std::optional(row.integer(3));
            one.settled = row.text(4);
        });
    return there;
}

class Copier {
  public:
    Copier(const fs::path& results, Postgres& database, Copied& copied)
        : results_(results), database_(database), copied_(copied) {}

    void copy(std::span<const Known> asked) {
        const auto there = attemptsThere(database_, asked);
        std::vector<Known> missing;
        for (const Known& here : asked) {
            const auto found = there.find(keyOf(here.unit, here.id));
            if (found == there.end() || isOlder(here, found->second)) {
                missing.push_back(here);
            }
        }
        for (std::span<const Known> left(missing); !left.empty();) {
            const std::span<const Known> some = left.first(std::min(left.size(), copiedAtOnce));
            add(read(some));
            left = left.subspan(some.size());
        }
    }

  private:
    // Whether the database only lacks what was settled since. Two that say different things under one id are
    // shown: neither can take the other's place.
    bool isOlder(const Known& here, const Known& there) {
        if (here.started != there.started || here.ended != there.ended) {
            park(here.place, there.ended ? "the database has another attempt under its id"
                                         : "the database has it as one that never ended");
            return false;
        }
        if (!here.settled.starts_with(there.settled) && !there.settled.starts_with(here.settled)) {
            park(here.place, "it was settled otherwise in the database");
            return false;
        }
        return here.settled.size() > there.settled.size();
    }

    // What has vanished or changed since the index was read comes the next time.
    std::vector<StoredAttempt> read(std::span<const Known> some) {
        std::vector<StoredAttempt> attempts;
        for (const Known& one : some) {
            std::optional<StoredAttempt> attempt = readAttemptAt(results_, one.place);
            if (attempt && attempt->unit == one.unit && attempt->id == one.id && !attempt->running) {
                attempts.push_back(std::move(*attempt));
            }
        }
        return attempts;
    }

    void add(std::span<const StoredAttempt> attempts) {
        try {
            addTogether(attempts);
            copied_.attempts += attempts.size();
        } catch (const DatabaseError& error) {
            if (error.trouble != Trouble::refused) {
                throw;
            }
            addOneByOne(attempts, error);
        }
    }

    void addOneByOne(std::span<const StoredAttempt> attempts, const DatabaseError& error) {
        if (attempts.size() == 1) {
            park(attempts.front().place, error.what());
            return;
        }
        for (const StoredAttempt& attempt : attempts) {
            add({&attempt, 1});
        }
    }

    // Stations that write the same rows in another order may wait for each other; the server ends one of
    // them.
    void addTogether(std::span<const StoredAttempt> attempts) {
        for (int collisions = 0;; ++collisions) {
            try {
                database_.together([&] {
                    for (const StoredAttempt& attempt : attempts) {
                        addAttempt(database_, attempt);
                        addMacs(database_, attempt);
                    }
                });
                return;
            } catch (const DatabaseError& error) {
                if (error.trouble != Trouble::busy || collisions == mostCollisions) {
                    throw;
                }
            }
        }
    }

    void park(const std::string& place, const std::string& why) { copied_.parked.push_back({place, why}); }

    const fs::path& results_;
    Postgres& database_;
    Copied& copied_;
};

}  // namespace

void copyAttempts(const fs::path& results, Postgres& database, Copied& copied) {
    std::vector<Known> here;
    useIndex(results, [&](Database& index) { here = attemptsHere(index); });
    Copier copier(results, database, copied);
    for (std::span<const Known> left(here); !left.empty();) {
        const std::span<const Known> some = left.first(std::min(left.size(), askedAtOnce));
        copier.copy(some);
        left = left.subspan(some.size());
    }
}

}  // namespace station
