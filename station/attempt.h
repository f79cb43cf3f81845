#pragma once

// One attempt's folder: RESULTS/UNIT/NUMBER, never overwritten.
//
//   stream.raw   the bytes of the record stream as they came
//   lines.txt    one line per operator line: seconds, source, text; appended as they come
//   record.json  the record (docs/record.schema.json); "incomplete" from the start until the end is written
//   junit.xml    the items as test cases

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "files.h"
#include "run.h"

namespace station {

// What is known about an attempt before it starts.
struct AttemptInfo {
    std::optional<std::string> unit;  // none on a bench
    int number = 0;
    std::string started;               // UTC, ISO 8601
    std::vector<std::string> command;  // as given
    std::string toolPath;              // empty when there is no tool to look at
    std::string toolSha256;            // lower-case hexadecimal
};

// How long the last complete run on this results folder was, for the live view.
struct RunHistory {
    int steps = 0;       // numbered ones; 0: no run yet
    double seconds = 0;  // of the whole run
};

class Attempt {
  public:
    // Takes the unit's next free number and leaves an incomplete record there. Throws std::system_error.
    Attempt(const std::filesystem::path& results, AttemptInfo info);

    // Kept at once, so that a kill loses nothing that was handed over. They never fail: the first error is
    // remembered and makes the run incomplete at the end.
    void appendStream(std::string_view bytes);
    void appendLine(const Line& line);

    // Writes record.json and junit.xml in place of what was there; may be called again with what was learned
    // since. Lines that could not be kept go into the run's reasons. Throws std::system_error.
    void finish(TestRun& run, const ToolEnd& end, uint64_t streamRecords, bool torn);

    const std::filesystem::path& folder() const { return directory; }
    const AttemptInfo& about() const { return info; }

  private:
    void takeNumber(const std::filesystem::path& unnumbered, const std::filesystem::path& unitFolder);
    void append(int fd, std::string_view bytes);

    AttemptInfo info;
    std::filesystem::path directory;
    Descriptor stream;
    Descriptor lines;
    uint64_t streamBytes = 0;
    int writeError = 0;  // errno of the first byte that could not be kept
};

// The unit's name as a folder name: what is neither letter nor digit nor one of "-_+=" is written as %XX.
// A bench without a unit has the folder "@bench", which no unit has.
std::string unitFolderName(const std::optional<std::string>& unit);

// The number of an attempt's folder; 0 for any other.
int attemptNumber(const std::filesystem::path& folder);

// RESULTS/last-run.json, a guess for the view and no more: what can't be read says nothing, what can't be
// written is left.
RunHistory readHistory(const std::filesystem::path& results);
void writeHistory(const std::filesystem::path& results, const TestRun& run);

}  // namespace station
