#include "station/store/sqlite.h"

#include <sqlite3.h>

namespace station {

namespace {

// A statement of ours that makes no sense to the database (SQLITE_ERROR) meets tables that are not ours.
Trouble troubleOf(int result) {
    switch (result & 0xFF) {
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return Trouble::busy;
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
        case SQLITE_FORMAT:
        case SQLITE_ERROR:
            return Trouble::broken;
        default:
            return Trouble::refused;
    }
}

void require(sqlite3* database, int result, const std::string& what) {
    if (result != SQLITE_OK && result != SQLITE_DONE && result != SQLITE_ROW) {
        throw DatabaseError(
            troubleOf(result),
            what + ": " + (database == nullptr ? sqlite3_errstr(result) : sqlite3_errmsg(database)));
    }
}

class SqliteRow : public Row {
  public:
    explicit SqliteRow(sqlite3_stmt* statement) : statement_(statement) {}

    bool isNull(int column) const override { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }
    std::int64_t integer(int column) const override { return sqlite3_column_int64(statement_, column); }
    double number(int column) const override { return sqlite3_column_double(statement_, column); }
    std::string_view text(int column) const override {
        const auto* const bytes = sqlite3_column_text(statement_, column);
        const auto length = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
        return bytes == nullptr ? std::string_view()
                                : std::string_view(reinterpret_cast<const char*>(bytes), length);
    }

  private:
    sqlite3_stmt* statement_;
};

// The values live until the statement is reset.
int bind(sqlite3_stmt* statement, int index, const SqlValue& value) {
    if (const auto* const integer = std::get_if<std::int64_t>(&value)) {
        return sqlite3_bind_int64(statement, index, *integer);
    }
    if (const auto* const number = std::get_if<double>(&value)) {
        return sqlite3_bind_double(statement, index, *number);
    }
    if (const auto* const text = std::get_if<std::string>(&value)) {
        return sqlite3_bind_text64(statement, index, text->data(), text->size(), SQLITE_STATIC, SQLITE_UTF8);
    }
    return sqlite3_bind_null(statement, index);
}

struct Reset {
    sqlite3_stmt* statement;
    ~Reset() {
        (void)sqlite3_reset(statement);  // repeats the error that step has given
        (void)sqlite3_clear_bindings(statement);
    }
};

}  // namespace

void Sqlite::Close::operator()(sqlite3* database) const {
    (void)sqlite3_close_v2(database);  // nothing is lost: what counts was committed
}

void Sqlite::Finalize::operator()(sqlite3_stmt* statement) const {
    (void)sqlite3_finalize(statement);  // repeats the error that step has given
}

Sqlite::Sqlite(const std::filesystem::path& path, std::chrono::milliseconds patience) {
    sqlite3* opened = nullptr;
    const std::string name = path.empty() ? ":memory:" : path.string();
    const int result = sqlite3_open_v2(
        name.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    database_.reset(opened);
    require(opened, result, name);
    require(opened, sqlite3_busy_timeout(opened, static_cast<int>(patience.count())), name);
}

Sqlite::~Sqlite() = default;

sqlite3_stmt* Sqlite::prepared(const std::string& sql) {
    auto& statement = statements_[sql];
    if (!statement) {
        sqlite3_stmt* made = nullptr;
        require(database_.get(),
                sqlite3_prepare_v2(database_.get(), sql.data(), static_cast<int>(sql.size()), &made, nullptr),
                sql);
        statement.reset(made);
    }
    return statement.get();
}

void Sqlite::query(const std::string& sql, const SqlValues& parameters,
                   const std::function<void(const Row&)>& onRow) {
    sqlite3_stmt* const statement = prepared(sql);
    const Reset afterwards{statement};
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        const std::string name = "$" + std::to_string(i + 1);
        const int index = sqlite3_bind_parameter_index(statement, name.c_str());
        require(database_.get(), bind(statement, index, parameters[i]), sql);
    }
    int result;
    const SqliteRow row(statement);
    while ((result = sqlite3_step(statement)) == SQLITE_ROW) {
        onRow(row);
    }
    require(database_.get(), result, sql);
}

void Sqlite::script(const std::string& sql) {
    require(database_.get(), sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr), sql);
}

void Sqlite::reset() {
    statements_.clear();
    require(database_.get(), sqlite3_db_config(database_.get(), SQLITE_DBCONFIG_RESET_DATABASE, 1, nullptr),
            "reset");
    const int result = sqlite3_exec(database_.get(), "VACUUM", nullptr, nullptr, nullptr);
    (void)sqlite3_db_config(database_.get(), SQLITE_DBCONFIG_RESET_DATABASE, 0, nullptr);  // only sets a flag
    require(database_.get(), result, "reset");
}

}  // namespace station
