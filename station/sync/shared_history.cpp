#include "station/sync/shared_history.h"

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <map>

#include "host/descriptor.h"
#include "station/keep/attempt.h"
#include "station/keep/files.h"
#include "station/keep/json.h"
#include "station/store/index_tables.h"
#include "station/store/postgres.h"
#include "station/store/schema.h"

namespace station {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using Rows = std::vector<std::vector<std::string>>;

constexpr std::chrono::seconds answerTime{2};
constexpr int didNotAnswer = 1;  // exit status of the process that asks

// Texts only, numbers as the database writes them.
Rows rowsOf(const std::string& address, const std::string& sql, const SqlValues& parameters, int columns) {
    Postgres database(address, {answerTime, answerTime});
    if (schemaVersionOf(database) != schemaVersion) {
        throw DatabaseError(Trouble::broken, "tables of another version");
    }
    Rows rows;
    database.query(sql, parameters, [&](const Row& row) {
        auto& texts = rows.emplace_back();
        for (int column = 0; column < columns; ++column) {
            texts.emplace_back(row.text(column));
        }
    });
    return rows;
}

// Until everybody who could write has closed it; none when that is not soon.
std::optional<std::string> readUntil(int reader, Clock::time_point until) {
    std::string text;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
        pollfd entry = {reader, POLLIN, 0};
        if (left.count() <= 0 || poll(&entry, 1, static_cast<int>(left.count())) == 0) {
            return std::nullopt;
        }
        char buffer[4096];
        const ssize_t length = read(reader, buffer, sizeof buffer);
        if (length == 0) {
            return text;
        }
        text.append(buffer, static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    }
}

[[noreturn]] void answerTo(int writer, const std::function<Rows()>& question) {
    (void)prctl(PR_SET_PDEATHSIG, SIGKILL);  // our copies of locks end with the station
    try {
        const std::string text = Json(question()).dump(-1, ' ', false, Json::error_handler_t::replace);
        _exit(writeAll(writer, text) ? EXIT_SUCCESS : didNotAnswer);
    } catch (const std::exception&) {
        _exit(didNotAnswer);
    }
}

// Looking up a host's name waits for as long as it likes; a process can be ended all the same.
std::optional<Rows> askInTime(const std::function<Rows()>& question) {
    host::Pipe pipe = host::openPipe();
    const pid_t child = host::checked(fork(), "fork");
    if (child == 0) {
        answerTo(pipe.writer.get(), question);
    }
    pipe.writer.close();
    const std::optional<std::string> text = readUntil(pipe.reader.get(), Clock::now() + answerTime);
    if (!text) {
        (void)kill(child, SIGKILL);  // gone already is as good
    }
    int status = 0;
    while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
    }
    if (!text || status != 0) {
        return std::nullopt;
    }
    return Json::parse(*text).get<Rows>();
}

struct Past {
    std::int64_t started = 0;
    bool failed = false;
    bool repaired = false;  // it began with a note of that
};

void addPast(std::map<std::string, Past>& attempts, const StoredAttempt& attempt) {
    if (!attempt.partial) {
        attempts[attempt.id] = {attempt.started, attempt.outcome == "failed", !attempt.repaired.empty()};
    }
}

void addPastOfFolder(std::map<std::string, Past>& attempts, const fs::path& results,
                     const std::string& unit) {
    const fs::path folder = results / unitFolderName(unit);
    if (!fs::exists(folder)) {
        return;
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        if (attemptNumber(entry.path()) != 0) {
            const auto attempt = readAttemptAt(results, entry.path().lexically_relative(results));
            if (!attempt) {
                throw UnknownHistory((entry.path() / "record.json").string() + " can't be read");
            }
            addPast(attempts, *attempt);
        }
    }
}

}  // namespace

std::optional<Rows> SharedHistory::ask(int columns, const std::string& sql,
                                       const std::vector<std::string>& texts) const {
    if (isAway_) {
        return std::nullopt;
    }
    const SqlValues parameters(texts.begin(), texts.end());
    const auto rows = askInTime([&] { return rowsOf(address_, sql, parameters, columns); });
    isAway_ = !rows;
    return rows;
}

int SharedHistory::passedBefore(const std::string& unit) const {
    if (const int number = folder_.passedBefore(unit)) {
        return number;
    }
    const auto rows = ask(1,
                          "SELECT number FROM outcome WHERE unit = $1 AND partial = 0 AND outcome = 'passed'"
                          " ORDER BY started DESC LIMIT 1",
                          {unit});
    return rows && !rows->empty() ? std::atoi(rows->front().front().c_str()) : 0;
}

int SharedHistory::failedAttempts(const std::string& unit) const {
    const auto rows =
        ask(4,
            "SELECT a.id, a.started, o.outcome, a.repaired FROM attempt a JOIN outcome o ON o.unit = a.unit"
            " AND o.id = a.id WHERE a.unit = $1 AND a.partial = 0",
            {unit});
    if (!rows) {
        return folder_.failedAttempts(unit);
    }
    std::map<std::string, Past> byId;
    for (const auto& row : *rows) {
        byId[row[0]] = {std::atoll(row[1].c_str()), row[2] == "failed", !row[3].empty()};
    }
    addPastOfFolder(byId, results_, unit);
    std::vector<Past> attempts;
    for (const auto& [id, past] : byId) {
        attempts.push_back(past);
    }
    std::stable_sort(attempts.begin(), attempts.end(),
                     [](const Past& one, const Past& other) { return one.started < other.started; });
    int failed = 0;
    for (const Past& past : attempts) {
        failed = (past.repaired ? 0 : failed) + (past.failed ? 1 : 0);
    }
    return failed;
}

std::string SharedHistory::ownerOfMac(const std::string& mac, const std::string& unit) const {
    std::string owner = folder_.ownerOfMac(mac, unit);
    if (!owner.empty()) {
        return owner;
    }
    const auto rows =
        ask(1,
            "WITH use AS (SELECT m.unit, o.outcome = 'passed' AND o.partial = 0 AS passed FROM mac_use m"
            " JOIN outcome o ON o.unit = m.unit AND o.id = m.attempt WHERE m.mac = $1)"
            " SELECT unit FROM use WHERE unit <> $2"
            " AND (passed OR NOT EXISTS (SELECT 1 FROM use WHERE unit = $2 AND passed)) LIMIT 1",
            {mac, unit});
    return rows && !rows->empty() ? rows->front().front() : "";
}

}  // namespace station
