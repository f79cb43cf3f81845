#pragma once

// One attempt's folder: RESULTS/UNIT/NUMBER, never overwritten.
//
//   stream.raw   the bytes of the record stream as they came; locked with flock while the attempt runs
//   lines.txt    one line per operator line: seconds, source, text; appended as they come
//   record.json  the record (docs/record.schema.json); "incomplete" from the start until the end is written
//   junit.xml    the items as test cases

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/descriptor.h"
#include "station/interpret/run.h"
#include "station/keep/attempt_info.h"

namespace station {

class Attempt {
  public:
    // Takes the unit's next free number and leaves an incomplete record there. Throws std::system_error.
    Attempt(const std::filesystem::path& results, AttemptInfo info);

    // Kept at once, so that a kill loses nothing that was handed over. They never fail: the first error is
    // remembered and makes the run incomplete at the end.
    void appendStream(std::string_view bytes);
    void appendLine(const Line& line);

    // Writes record.json and junit.xml in place of what was there; may be called again with what was learned
    // since. Lines that could not be kept go into the run's reasons, and so does a disk that takes no files:
    // what was there stays then, or record.json alone. streamRecords and torn: what came of the stream.
    void finish(TestRun& run, const ToolEnd& end, std::uint64_t streamRecords, bool torn);

    // Takes the attempt back: nothing was tested. Throws std::system_error.
    void withdraw();

    const std::filesystem::path& folder() const { return directory_; }
    const AttemptInfo& about() const { return info_; }

  private:
    void fill(const std::filesystem::path& unnumbered);
    void takeNumber(const std::filesystem::path& unnumbered, const std::filesystem::path& unitFolder);
    void append(const host::Descriptor& file, std::string_view bytes);
    void remember(int error);
    void replaceFiles(const TestRun& run, const ToolEnd& end, const StreamCounts& counts) const;

    AttemptInfo info_;
    std::filesystem::path directory_;
    host::Descriptor stream_;
    host::Descriptor lines_;
    std::uint64_t streamBytes_ = 0;
    int writeError_ = 0;  // errno of the first byte that could not be kept
};

// The unit's name as a folder name: what is neither letter nor digit nor one of "-_+=" is written as %XX.
// A bench without a unit has the folder "@bench", which no unit has.
std::string unitFolderName(const std::optional<std::string>& unit);

// The name of an attempt's folder, "0001".
std::string attemptFolderName(int number);

// Both texts take the place of what is there, or neither does. Throws std::system_error.
void replaceRecord(const std::filesystem::path& folder, const std::string& recordText,
                   const std::string& junitText);

// The number of an attempt's folder; 0 for any other.
int attemptNumber(const std::filesystem::path& folder);

}  // namespace station
