#include "attempt.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <system_error>
#include <utility>

#include "record_files.h"

namespace station {

namespace {

namespace fs = std::filesystem;

constexpr const char* historyName = "last-run.json";

Descriptor openForAppending(const fs::path& path) {
    Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0644));
    check(file.fd >= 0, path);
    return file;
}

int highestNumber(const fs::path& unitFolder) {
    int highest = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(unitFolder)) {
        highest = std::max(highest, attemptNumber(entry.path()));
    }
    return highest;
}

}  // namespace

std::string unitFolderName(const std::optional<std::string>& unit) {
    if (!unit) {
        return "@bench";
    }
    std::string name;
    for (const char character : *unit) {
        const bool plain = isalnum(static_cast<unsigned char>(character)) != 0 ||
                           (character != '\0' && strchr("-_+=", character) != nullptr);
        char encoded[4] = {character, '\0'};
        if (!plain) {
            (void)snprintf(encoded, sizeof encoded, "%%%02X", static_cast<unsigned char>(character));
        }
        name += encoded;
    }
    return name;
}

int attemptNumber(const fs::path& folder) {
    constexpr size_t mostDigits = 8;
    const std::string name = folder.filename();
    const bool isNumber = !name.empty() && name.size() <= mostDigits &&
                          name.find_first_not_of("0123456789") == std::string::npos;
    return isNumber ? std::stoi(name) : 0;
}

// A folder is filled before it gets its number, so a kill leaves a record that says what it is or nothing
// that counts.
Attempt::Attempt(const fs::path& results, AttemptInfo about) : info(std::move(about)) {
    const fs::path unitFolder = results / unitFolderName(info.unit);
    fs::create_directories(unitFolder);
    std::string unnumbered = unitFolder / ".new-XXXXXX";
    check(mkdtemp(unnumbered.data()) != nullptr, unnumbered);
    check(chmod(unnumbered.c_str(), 0755) == 0, unnumbered);
    stream = openForAppending(fs::path(unnumbered) / "stream.raw");
    lines = openForAppending(fs::path(unnumbered) / "lines.txt");
    takeNumber(unnumbered, unitFolder);
}

// A rename never replaces a folder with files in it, so two stations on one folder never share an attempt.
void Attempt::takeNumber(const fs::path& unnumbered, const fs::path& unitFolder) {
    TestRun nothingYet;
    nothingYet.reasons = {"the station did not come to the end of this attempt"};
    for (Item& item : nothingYet.items) {
        item.reason = "no verdict came";
    }
    for (info.number = highestNumber(unitFolder) + 1;; ++info.number) {
        writeAtomically(unnumbered / "record.json", recordJson(info, nothingYet, {}, 0, 0, false));
        char name[16];
        (void)snprintf(name, sizeof name, "%04d", info.number);
        directory = unitFolder / name;
        if (rename(unnumbered.c_str(), directory.c_str()) == 0) {
            return;
        }
        check(errno == EEXIST || errno == ENOTEMPTY, directory);
    }
}

// A full disk must not stop the reading: the tool's lines go on to the operator, the record says what is
// missing.
void Attempt::append(int fd, std::string_view bytes) {
    if (!writeAll(fd, bytes) && writeError == 0) {
        writeError = errno;
    }
}

void Attempt::appendStream(std::string_view bytes) {
    streamBytes += bytes.size();
    append(stream.fd, bytes);
}

void Attempt::appendLine(const Line& line) {
    char head[32];
    (void)snprintf(head, sizeof head, "%10.3f %-7s ", line.at,
                   line.source == Source::pipe ? "pipe" : "console");
    append(lines.fd, head + line.text + "\n");
}

// The record comes last: a reader that finds it final finds everything else final as well.
void Attempt::finish(TestRun& run, const ToolEnd& end, uint64_t streamRecords, bool torn) {
    if (const int error = std::exchange(writeError, 0)) {
        run.reasons.push_back(std::string("stream or lines could not be kept: ") + strerror(error));
        run.outcome = Outcome::incomplete;
    }
    (void)fsync(stream.fd);  // a disk that fails here fails at the record too, which is checked
    (void)fsync(lines.fd);
    writeAtomically(directory / "junit.xml", junitXml(info, run));
    writeAtomically(directory / "record.json", recordJson(info, run, end, streamBytes, streamRecords, torn));
}

RunHistory readHistory(const fs::path& results) {
    const fs::path path = results / historyName;
    const Json history =
        fs::is_regular_file(path) ? Json::parse(std::ifstream(path), nullptr, false) : Json();
    if (!history.is_object() || !history.value("steps", Json()).is_number() ||
        !history.value("seconds", Json()).is_number()) {
        return {};
    }
    return {history["steps"].get<int>(), history["seconds"].get<double>()};
}

void writeHistory(const fs::path& results, const TestRun& run) {
    int steps = 0;
    for (const Step& step : run.steps) {
        steps = std::max(steps, step.number);
    }
    try {
        writeAtomically(results / historyName,
                        Json({{"steps", steps}, {"seconds", run.seconds}}).dump() + "\n");
    } catch (const std::system_error&) {
        // Whoever tests the next unit sees no remaining time; this unit's record is what counts.
    }
}

}  // namespace station
