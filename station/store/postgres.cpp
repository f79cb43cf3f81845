#include "station/store/postgres.h"

#include <libpq-fe.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <optional>

namespace station {

namespace {

using Clock = std::chrono::steady_clock;

struct Clear {
    void operator()(PGresult* result) const { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, Clear>;

// libpq ends its messages with a line break, and may have several of them.
std::string oneLine(const char* message) {
    std::string line(message);
    line.erase(line.find_last_not_of(" \n") + 1);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\n' || c == '\t'; }, ' ');
    return line;
}

// By SQLSTATE: PostgreSQL, appendix A. Only what concerns the values themselves is a refusal of them; rights
// are too, where a row may be one that this role must not add.
Trouble troubleOf(const std::string& state) {
    const auto isOf = [&](std::initializer_list<const char*> starts) {
        return std::any_of(starts.begin(), starts.end(),
                           [&](const char* start) { return state.starts_with(start); });
    };
    if (isOf({"22", "23", "44", "54", "P0", "42501"})) {
        return Trouble::refused;
    }
    if (isOf({"40", "55P03"})) {
        return Trouble::busy;
    }
    return isOf({"42", "3F"}) ? Trouble::broken : Trouble::away;
}

// The server's own words, without the row that it would show behind them.
DatabaseError errorOf(const PGresult* result) {
    const char* const state = PQresultErrorField(result, PG_DIAG_SQLSTATE);
    const char* const message = PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
    return {troubleOf(state == nullptr ? "" : state),
            oneLine(message == nullptr ? PQresultErrorMessage(result) : message)};
}

template <typename Number>
Number numberIn(std::string_view text) {
    Number number = 0;
    (void)std::from_chars(text.data(), text.data() + text.size(), number);  // null, or no number: 0
    return number;
}

class PostgresRow : public Row {
  public:
    explicit PostgresRow(const PGresult* result) : result_(result) {}

    bool isNull(int column) const override { return PQgetisnull(result_, 0, column) != 0; }
    std::int64_t integer(int column) const override { return numberIn<std::int64_t>(text(column)); }
    double number(int column) const override { return numberIn<double>(text(column)); }
    std::string_view text(int column) const override {
        return {PQgetvalue(result_, 0, column), static_cast<std::size_t>(PQgetlength(result_, 0, column))};
    }

  private:
    const PGresult* result_;
};

template <typename Number>
std::string textOfNumber(Number number) {
    char text[64];
    return {text, std::to_chars(std::begin(text), std::end(text), number).ptr};
}

std::optional<std::string> textOf(const SqlValue& value) {
    if (const auto* const integer = std::get_if<std::int64_t>(&value)) {
        return textOfNumber(*integer);
    }
    if (const auto* const number = std::get_if<double>(&value)) {
        return textOfNumber(*number);
    }
    if (const auto* const text = std::get_if<std::string>(&value)) {
        return *text;
    }
    return std::nullopt;
}

// As libpq takes them; good as long as this object.
struct Parameters {
    explicit Parameters(const SqlValues& values) {
        for (const SqlValue& value : values) {
            texts.push_back(textOf(value));
        }
        for (const auto& text : texts) {
            pointers.push_back(text ? text->c_str() : nullptr);
        }
    }
    int count() const { return static_cast<int>(pointers.size()); }

    std::vector<std::optional<std::string>> texts;
    std::vector<const char*> pointers;
};

void requireWhole(const SqlValues& values) {
    for (const SqlValue& value : values) {
        const auto* const text = std::get_if<std::string>(&value);
        if (text != nullptr && text->find('\0') != std::string::npos) {
            throw DatabaseError(Trouble::refused, "a text has a zero byte in it");
        }
    }
}

bool isSet(const PQconninfoOption& option) {
    return option.val != nullptr && *option.val != '\0';
}

}  // namespace

std::string problemOfAddress(const std::string& address) {
    if (!address.starts_with("postgresql://") && !address.starts_with("postgres://")) {
        return "a database's address begins with postgresql://";
    }
    char* message = nullptr;
    const std::unique_ptr<PQconninfoOption, decltype(&PQconninfoFree)> options(
        PQconninfoParse(address.c_str(), &message), &PQconninfoFree);
    const std::unique_ptr<char, decltype(&PQfreemem)> owner(message, &PQfreemem);
    if (!options) {
        return "the database's address can't be read";  // its message may show a password
    }
    for (const PQconninfoOption* option = options.get(); option->keyword != nullptr; ++option) {
        if (isSet(*option) && strstr(option->keyword, "password") != nullptr) {
            return "a password in the database's address could be read by everybody: "
                   "it belongs into PGPASSFILE (~/.pgpass) or a service file";
        }
    }
    return "";
}

void Postgres::Close::operator()(pg_conn* connection) const {
    PQfinish(connection);
}

Postgres::Postgres(const std::string& address, Patience patience) : patience_(patience) {
    connect(address);
    PQsetNoticeProcessor(
        connection_.get(), [](void*, const char*) {}, nullptr);  // nobody reads our standard error
    require(PQsetnonblocking(connection_.get(), 1) == 0);
}

Postgres::~Postgres() = default;

void Postgres::connect(const std::string& address) {
    const Clock::time_point until = Clock::now() + patience_.connect;
    const char* const names[] = {"dbname", "client_encoding", "fallback_application_name", nullptr};
    const char* const values[] = {address.c_str(), "UTF8", "r8-station", nullptr};
    connection_.reset(PQconnectStartParams(names, values, 1));
    require(connection_ != nullptr && PQstatus(connection_.get()) != CONNECTION_BAD);
    PostgresPollingStatusType state = PGRES_POLLING_WRITING;
    while (state != PGRES_POLLING_OK) {
        wait(state == PGRES_POLLING_READING ? POLLIN : POLLOUT, until);
        state = PQconnectPoll(connection_.get());
        require(state != PGRES_POLLING_FAILED);
    }
}

// What libpq has to say otherwise is that the connection does not stand.
void Postgres::require(bool fine) {
    if (!fine) {
        throw DatabaseError(Trouble::away, connection_ == nullptr
                                               ? std::string("no memory for a connection")
                                               : oneLine(PQerrorMessage(connection_.get())));
    }
}

void Postgres::wait(short events, Clock::time_point until) {
    pollfd entry = {PQsocket(connection_.get()), events, 0};
    for (int ready = 0; ready == 0;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
        if (left.count() <= 0) {
            throw DatabaseError(Trouble::away, "the database does not answer");
        }
        ready = poll(&entry, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno != EINTR) {
            throw DatabaseError(Trouble::away, strerror(errno));
        }
        ready = std::max(ready, 0);
    }
}

// The server may stop reading until somebody reads its answers.
void Postgres::flush() {
    int left;
    while ((left = PQflush(connection_.get())) == 1) {
        wait(POLLIN | POLLOUT, Clock::now() + patience_.answer);
        require(PQconsumeInput(connection_.get()) == 1);
    }
    require(left == 0);
}

void Postgres::awaitAnswer() {
    while (PQisBusy(connection_.get()) == 1) {
        wait(POLLIN, Clock::now() + patience_.answer);
        require(PQconsumeInput(connection_.get()) == 1);
    }
}

void Postgres::query(const std::string& sql, const SqlValues& values,
                     const std::function<void(const Row&)>& onRow) {
    requireWhole(values);
    if (collected_ != nullptr) {
        collected_->emplace_back(sql, values);
        return;
    }
    const Parameters parameters(values);
    require(PQsendQueryParams(connection_.get(), sql.c_str(), parameters.count(), nullptr,
                              parameters.pointers.data(), nullptr, nullptr, 0) == 1);
    require(PQsetSingleRowMode(connection_.get()) == 1);  // answers may be longer than our memory
    flush();
    std::optional<DatabaseError> error;
    for (awaitAnswer();; awaitAnswer()) {
        const Result result(PQgetResult(connection_.get()));
        if (!result) {
            break;
        }
        const ExecStatusType status = PQresultStatus(result.get());
        if (status == PGRES_SINGLE_TUPLE) {
            onRow(PostgresRow(result.get()));
        } else if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK) {
            error = errorOf(result.get());
        }
    }
    if (error) {
        throw DatabaseError(*error);
    }
}

// Sent with their texts each time, statements would be most of what goes over the network.
const std::string& Postgres::prepared(const std::string& sql) {
    const auto found = prepared_.find(sql);
    if (found != prepared_.end()) {
        return found->second;
    }
    const std::string name = "station" + std::to_string(++namesGiven_);
    require(PQsendPrepare(connection_.get(), name.c_str(), sql.c_str(), 0, nullptr) == 1);
    return prepared_.emplace(sql, name).first->second;
}

void Postgres::sendAll(const std::vector<Statement>& statements) {
    require(PQenterPipelineMode(connection_.get()) == 1);
    for (const auto& [sql, values] : statements) {
        const Parameters parameters(values);
        require(PQsendQueryPrepared(connection_.get(), prepared(sql).c_str(), parameters.count(),
                                    parameters.pointers.data(), nullptr, nullptr, 0) == 1);
    }
    require(PQpipelineSync(connection_.get()) == 1);  // the end of what is done as a whole
    flush();
}

// The first error is the one to tell: what stood behind it was not done.
void Postgres::awaitAll() {
    std::optional<DatabaseError> error;
    for (bool isOver = false; !isOver;) {
        awaitAnswer();
        const Result result(PQgetResult(connection_.get()));
        const ExecStatusType status = PQresultStatus(result.get());
        isOver = result && status == PGRES_PIPELINE_SYNC;
        if (result && status == PGRES_FATAL_ERROR && !error) {
            error = errorOf(result.get());
        }
        if (PQstatus(connection_.get()) == CONNECTION_BAD) {
            throw DatabaseError(Trouble::away, error ? error->what() : "the connection broke off");
        }
    }
    require(PQexitPipelineMode(connection_.get()) == 1);
    if (error) {
        prepared_.clear();  // which of them were prepared before it is not known
        throw DatabaseError(*error);
    }
}

void Postgres::together(const std::function<void()>& statements) {
    std::vector<Statement> collected;
    collected_ = &collected;
    try {
        statements();
    } catch (...) {
        collected_ = nullptr;
        throw;
    }
    collected_ = nullptr;
    sendAll(collected);
    awaitAll();
}

}  // namespace station
