#pragma once

// A database in a file of this machine, or in memory.

#include <chrono>
#include <filesystem>
#include <map>
#include <memory>

#include "station/store/database.h"

struct sqlite3;
struct sqlite3_stmt;

namespace station {

class Sqlite : public Database {
  public:
    // Opens or makes the file; an empty path is a database in memory. patience: how long a statement waits
    // for others that are writing. Throws DatabaseError.
    Sqlite(const std::filesystem::path& path, std::chrono::milliseconds patience);
    ~Sqlite() override;

    void query(const std::string& sql, const SqlValues& parameters,
               const std::function<void(const Row&)>& onRow) override;
    void script(const std::string& sql) override;

    // The rows lie in the order of their keys and nowhere else.
    std::string tableOptions() const override { return "WITHOUT ROWID"; }

    // Empties the file, whatever is in it and whoever has it open. Throws DatabaseError.
    void reset();

  private:
    struct Close {
        void operator()(sqlite3* database) const;
    };
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const;
    };

    sqlite3_stmt* prepared(const std::string& sql);

    std::unique_ptr<sqlite3, Close> database_;
    std::map<std::string, std::unique_ptr<sqlite3_stmt, Finalize>> statements_;  // by their texts
};

}  // namespace station
