#include "station/link/refusal.h"

#include <ctime>

#include "station/interpret/text.h"

namespace station {

namespace {

// "PID SECONDS"; on this machine's clock, the board's may be wrong.
std::string textOfBusy(std::string_view about) {
    std::int64_t process = 0;
    std::int64_t seconds = 0;
    if (!LineScanner{about}.number(process).text(" ").number(seconds)) {
        return "a tool or its helper still runs there";
    }
    const std::time_t since = std::time(nullptr) - seconds;
    std::tm parts = {};
    char clock[32] = "";
    (void)localtime_r(&since, &parts);
    (void)std::strftime(clock, sizeof clock, "%H:%M:%S", &parts);
    return "a tool or its helper still runs there: process " + std::to_string(process) + ", for " +
           std::to_string(seconds) + " s, since " + clock;
}

// "STATUS PATH"
std::string textOfPipe(std::string_view about) {
    const LineScanner scanner = LineScanner{about}.text("127 ");
    return scanner ? "the board has no mkfifo"
                   : "the report pipe can not be made: status and path " + std::string(about);
}

}  // namespace

std::string textOfRefusal(std::string_view reason, std::string_view about) {
    const std::string what(about);
    if (reason == "not-root") {
        return "the account has user number " + what + " there; a board is tested as root";
    }
    if (reason == "busy") {
        return textOfBusy(about);
    }
    if (reason == "no-tool") {
        return "there is no tool " + what + " on the board; --tool FILE brings one along";
    }
    if (reason == "not-executable") {
        return what + " can not be executed there; is its file system mounted with noexec?";
    }
    if (reason == "other-machine") {
        return what + " is a program for another machine than this board";
    }
    if (reason == "other-tool") {
        return what + ": another tool lies there than the one that was brought";
    }
    if (reason == "no-program") {
        return what + " is no program";
    }
    if (reason == "pipe-taken") {
        return what + ": something else lies where the report pipe belongs; it is left alone";
    }
    if (reason == "no-pipe") {
        return textOfPipe(about);
    }
    if (reason == "not-started") {
        return what == "127" ? "the tool is there but does not start: is it a program that needs a loader or "
                               "libraries that the board lacks?"
                             : "the tool is there but does not start: status " + what;
    }
    return "";
}

}  // namespace station
