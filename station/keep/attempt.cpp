#include "station/keep/attempt.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>

#include "station/keep/files.h"
#include "station/keep/junit_xml.h"
#include "station/keep/record_json.h"
#include "station/keep/utc_time.h"

namespace station {

namespace {

namespace fs = std::filesystem;

host::Descriptor openForAppending(const fs::path& path) {
    host::Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0644));
    host::require(file.isOpen(), path);
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

std::string attemptFolderName(int number) {
    char name[16];
    (void)snprintf(name, sizeof name, "%04d", number);
    return name;
}

int attemptNumber(const fs::path& folder) {
    constexpr std::size_t mostDigits = 8;
    const std::string name = folder.filename();
    const bool isNumber = !name.empty() && name.size() <= mostDigits &&
                          name.find_first_not_of("0123456789") == std::string::npos;
    return isNumber ? std::stoi(name) : 0;
}

// A folder is filled before it gets its number, so a kill leaves a record that says what it is or nothing
// that counts.
Attempt::Attempt(const fs::path& results, AttemptInfo info) : info_(std::move(info)) {
    const fs::path unitFolder = results / unitFolderName(info_.unit);
    fs::create_directories(unitFolder);
    std::string unnumbered = unitFolder / ".new-XXXXXX";
    host::require(mkdtemp(unnumbered.data()) != nullptr, unnumbered);
    try {
        fill(unnumbered);
        takeNumber(unnumbered, unitFolder);
    } catch (...) {
        std::error_code ignored;  // the first error is the one to tell
        (void)fs::remove_all(unnumbered, ignored);
        throw;
    }
    syncDirectory(unitFolder);
    syncDirectory(results);
}

void Attempt::fill(const fs::path& unnumbered) {
    host::require(chmod(unnumbered.c_str(), 0755) == 0, unnumbered);
    stream_ = openForAppending(unnumbered / "stream.raw");
    lines_ = openForAppending(unnumbered / "lines.txt");
    host::require(flock(stream_.get(), LOCK_EX | LOCK_NB) == 0, unnumbered / "stream.raw");
}

// A rename never replaces a folder with files in it, so two stations on one folder never share an attempt.
void Attempt::takeNumber(const fs::path& unnumbered, const fs::path& unitFolder) {
    TestRun nothingYet;
    nothingYet.reasons = {"the station did not come to the end of this attempt"};
    for (Item& item : nothingYet.items) {
        item.reason = "no verdict came";
    }
    for (info_.number = highestNumber(unitFolder) + 1;; ++info_.number) {
        writeAtomically(unnumbered / "record.json", recordJson(info_, nothingYet, {}, {}));
        directory_ = unitFolder / attemptFolderName(info_.number);
        if (rename(unnumbered.c_str(), directory_.c_str()) == 0) {
            return;
        }
        host::require(errno == EEXIST || errno == ENOTEMPTY, directory_);
    }
}

// A full disk must not stop the reading: the tool's lines go on to the operator, the record says what is
// missing.
void Attempt::remember(int error) {
    writeError_ = writeError_ == 0 ? error : writeError_;
}

void Attempt::append(const host::Descriptor& file, std::string_view bytes) {
    if (!writeAll(file.get(), bytes)) {
        remember(errno);
    }
}

void Attempt::appendStream(std::string_view bytes) {
    streamBytes_ += bytes.size();
    append(stream_, bytes);
}

void Attempt::appendLine(const Line& line) {
    char head[32];
    (void)snprintf(head, sizeof head, "%10.3f %-7s ", line.at,
                   line.source == Source::pipe ? "pipe" : "console");
    append(lines_, head + line.text + "\n");
}

void Attempt::finish(TestRun& run, const ToolEnd& end, std::uint64_t streamRecords, bool torn) {
    info_.ended = utcNow();
    for (const host::Descriptor* const file : {&stream_, &lines_}) {
        if (fsync(file->get()) != 0) {
            remember(errno);
        }
    }
    if (const int error = std::exchange(writeError_, 0)) {
        run.reasons.push_back(std::string("stream or lines could not be kept: ") + strerror(error));
        run.outcome = Outcome::incomplete;
    }
    try {
        replaceFiles(run, end, {streamBytes_, streamRecords, torn});
    } catch (const std::system_error& error) {
        run.reasons.push_back(std::string("the record could not be kept: ") + error.what());
        run.outcome = Outcome::incomplete;
    }
}

// Under its number it would count until it is gone.
void Attempt::withdraw() {
    const fs::path unnumbered = directory_.parent_path() / (".new-withdrawn-" + std::to_string(getpid()));
    fs::rename(directory_, unnumbered);
    (void)fs::remove_all(unnumbered);
}

void Attempt::replaceFiles(const TestRun& run, const ToolEnd& end, const StreamCounts& counts) const {
    replaceRecord(directory_, recordJson(info_, run, end, counts), junitXml(info_, run));
}

// Both texts are on the disk before either takes its place, so a full disk leaves both as they were. The
// record comes last: a reader that finds it final finds everything else final as well.
void replaceRecord(const fs::path& folder, const std::string& recordText, const std::string& junitText) {
    NewText junit(folder / "junit.xml", junitText);
    NewText record(folder / "record.json", recordText);
    junit.putInPlace();
    try {
        record.putInPlace();
    } catch (...) {
        (void)unlink((folder / "junit.xml").c_str());  // rather none than one that says otherwise
        throw;
    }
    syncDirectory(folder);
}

}  // namespace station
