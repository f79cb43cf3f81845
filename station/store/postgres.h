#pragma once

// A database on a PostgreSQL server.

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "station/store/database.h"

struct pg_conn;

namespace station {

// What is wrong with a database's address, empty when nothing is: it has to be a URI that libpq understands,
// and without a password, which everybody could read in the list of processes. Passwords come from where
// libpq looks for them, PGPASSFILE or a service file.
std::string problemOfAddress(const std::string& address);

class Postgres : public Database {
  public:
    struct Patience {
        std::chrono::milliseconds connect;  // until the connection stands, all in all
        std::chrono::milliseconds answer;   // until something of an answer comes
    };

    // Throws DatabaseError, as everything here does.
    Postgres(const std::string& address, Patience patience);
    ~Postgres() override;

    // onRow must not use the database.
    void query(const std::string& sql, const SqlValues& values,
               const std::function<void(const Row&)>& onRow) override;

    // A single statement.
    void script(const std::string& sql) override { execute(sql); }

    std::string tableOptions() const override { return ""; }

    // The statements that the call makes, whose answers have no rows, go out one behind the other without
    // waiting for each. All of them are done, or none.
    void together(const std::function<void()>& statements);

  private:
    struct Close {
        void operator()(pg_conn* connection) const;
    };
    using Statement = std::pair<std::string, SqlValues>;

    void connect(const std::string& address);
    void wait(short events, std::chrono::steady_clock::time_point until);
    void flush();
    void awaitAnswer();
    void require(bool fine);
    const std::string& prepared(const std::string& sql);
    void sendAll(const std::vector<Statement>& statements);
    void awaitAll();

    Patience patience_;
    std::unique_ptr<pg_conn, Close> connection_;
    std::map<std::string, std::string> prepared_;  // their names by their texts
    int namesGiven_ = 0;
    std::vector<Statement>* collected_ = nullptr;  // while together() has its statements made
};

}  // namespace station
