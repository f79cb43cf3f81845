#pragma once

// A database as the station sees it: SQL that SQLite and PostgreSQL both take, with parameters $1, $2, ...
// and never a value in its text.

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace station {

using SqlValue = std::variant<std::nullptr_t, std::int64_t, double, std::string>;
using SqlValues = std::vector<SqlValue>;

enum class Trouble {
    refused,  // it does not take this, and will not
    busy,     // others were writing for longer than the caller waits
    broken,   // what is in it is not what was put there
    away,     // it is not reached, or has no room now
};

// Whatever the database does not do.
struct DatabaseError : std::runtime_error {
    DatabaseError(Trouble kind, const std::string& what) : std::runtime_error(what), trouble(kind) {}
    Trouble trouble;
};

// One row of an answer, good until the next one. Columns count from 0. What is null reads as 0 or as empty.
class Row {
  public:
    virtual ~Row() = default;
    virtual bool isNull(int column) const = 0;
    virtual std::int64_t integer(int column) const = 0;
    virtual double number(int column) const = 0;
    virtual std::string_view text(int column) const = 0;
};

class Database {
  public:
    virtual ~Database() = default;

    // One statement; for each row of its answer onRow is called. Throws DatabaseError.
    virtual void query(const std::string& sql, const SqlValues& parameters,
                       const std::function<void(const Row&)>& onRow) = 0;

    // What this database wants behind the closing bracket of CREATE TABLE.
    virtual std::string tableOptions() const = 0;

    // Statements without parameters, separated by semicolons. Throws DatabaseError.
    virtual void script(const std::string& sql) = 0;

    void execute(const std::string& sql, const SqlValues& parameters = {}) {
        query(sql, parameters, [](const Row&) {});
    }
};

// All or nothing: what was not committed is rolled back.
class Transaction {
  public:
    // begin: how the transaction starts. Throws DatabaseError.
    explicit Transaction(Database& database, const std::string& begin = "BEGIN") : database_(database) {
        database_.script(begin);
    }
    ~Transaction() {
        try {
            if (!ended_) {
                database_.script("ROLLBACK");
            }
        } catch (const DatabaseError&) {
            // The database has rolled back on its own, or does so when it is closed.
        }
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit() {
        database_.script("COMMIT");
        ended_ = true;
    }

  private:
    Database& database_;
    bool ended_ = false;
};

}  // namespace station
