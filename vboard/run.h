#pragma once

#include <string>
#include <vector>

#include "vboard/kernel/session.h"

namespace vboard {

// What a run of the tool showed; see SessionResult for the rest. Texts are UTF-8.
struct Run : SessionResult {
    std::vector<std::string> writes;  // what each write(2) on the named pipe brought, bytes

    bool exited() const;     // ended by itself, not by a signal
    int exitStatus() const;  // -1 when it did not
    int signal() const;      // that ended it, 0 for none

    std::string console() const { return decodeGbk(output); }  // standard output
    std::vector<std::string> records() const;                  // the texts of the records on the named pipe
    bool sawEndMarker() const;                                 // the last line of a full run, in either mode

    // The items that the summary of a full run calls failed, in its own words.
    std::vector<std::string> failedItems() const;

    // Every request of that name ("ZORIO_SET_BUZZER", "open", ...), and only there if a path is given.
    std::vector<TraceEntry> requests(const std::string& name, const std::string& where = "") const;
    int beeps() const;                          // times that the buzzer was switched on
    std::vector<std::string> refusals() const;  // what the board does not know, as the trace has it
    bool anyRefused() const { return !refusals().empty(); }

    // Strict: throws std::runtime_error on bytes that are no GBK text.
    static std::string decodeGbk(const std::string& bytes);
};

}  // namespace vboard
