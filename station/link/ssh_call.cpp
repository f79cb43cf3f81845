#include "station/link/ssh_call.h"

#include <sys/mman.h>
#include <sys/random.h>
#include <unistd.h>

#include <array>

#include "station/interpret/text.h"
#include "station/keep/files.h"

namespace station {

namespace {

constexpr const char* logDetail = "LogLevel=DEBUG1";  // with it ssh tells the host key

// What a user may set in another way stands behind his own options: of two that are the same, ssh takes the
// first.
constexpr std::array ownOptions = {
    "BatchMode=yes",           "RequestTTY=no",         "RemoteCommand=none",
    "ClearAllForwardings=yes", "PermitLocalCommand=no",
    "ControlPath=none",  // the fingerprint and the end are those of our own connection
};
constexpr std::array changeableOptions = {
    "ConnectTimeout=10",
    "ServerAliveInterval=2",  // a dead link is known after the third question without an answer, 6 s
    "ServerAliveCountMax=2",
};

std::string newToken() {
    std::array<unsigned char, 16> bytes = {};
    host::require(getrandom(bytes.data(), bytes.size(), 0) == ssize_t{bytes.size()}, "getrandom");
    return hexadecimal(bytes);
}

// One word for the board's login shell.
std::string shellWord(std::string_view word) {
    std::string text = "'";
    for (const char character : word) {
        text += character == '\'' ? "'\\''" : std::string(1, character);
    }
    return text + "'";
}

// What ssh prints with so much detail although nothing is wrong.
bool isDetail(std::string_view line) {
    for (const char* const begin : {"debug1: ", "OpenSSH_", "Authenticated to ",
                                    "Transferred: ", "Bytes per second: ", "Warning: Permanently added "}) {
        if (line.starts_with(begin)) {
            return true;
        }
    }
    return line.empty();
}

}  // namespace

SshCall::SshCall(const BoardAddress& board, std::string_view program,
                 const std::vector<std::string>& arguments)
    : log_(host::checked(memfd_create("ssh-log", MFD_CLOEXEC), "memfd_create")), token_(newToken()) {
    // ssh closes what it inherits; by this name it opens our file itself.
    const std::string logName = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(log_.get());
    words_ = {"ssh", "-T", "-E", logName, "-o", logDetail};
    const auto addOptions = [this](const auto& options) {
        for (const auto& option : options) {
            words_.insert(words_.end(), {"-o", option});
        }
    };
    addOptions(ownOptions);
    addOptions(board.options);
    addOptions(changeableOptions);
    std::string command = "exec sh -c " + shellWord(program) + " r8-station " + token_;
    for (const std::string& argument : arguments) {
        command += " " + shellWord(argument);
    }
    words_.insert(words_.end(), {"--", board.destination, command});
}

// The messages that ssh has written so far; each ends with "\r\n" and may hold line breaks of its own, such
// as the one that tells our program.
std::vector<std::string> SshCall::messages() const {
    constexpr std::size_t mostBytes = 256 * 1024;
    std::string text(mostBytes, '\0');
    const ssize_t length = pread(log_.get(), text.data(), text.size(), 0);
    text.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
    std::vector<std::string> messages;
    std::size_t end;
    while ((end = text.find("\r\n")) != std::string::npos) {
        messages.push_back(utf8FromEither(text.substr(0, end)));
        text.erase(0, end + 2);
    }
    return messages;
}

std::string SshCall::hostKey() const {
    std::string key;
    for (const std::string& message : messages()) {
        LineScanner scanner{message};
        if (key.empty() &&
            scanner.text("debug1: Server host key: ")) {  // later ones may be the board's words
            key = trimmed(scanner.rest.substr(std::min(scanner.rest.find(' '), scanner.rest.size())));
        }
    }
    return key;
}

std::string SshCall::complaint() const {
    std::string last;
    bool isOther = false;
    for (const std::string& message : messages()) {
        isOther = isOther || message.find("REMOTE HOST IDENTIFICATION HAS CHANGED") != std::string::npos;
        last = isDetail(message) ? last : message;
    }
    return isOther
               ? last + " It is another board than the one that was at this address before, with the key " +
                     hostKey() + ": ssh-keygen -R forgets the old one."
               : last;
}

std::string textOfSshEnd(const SshCall& call, const ToolEnd& end) {
    const std::string complaint = call.complaint();
    if (!complaint.empty()) {
        return complaint;
    }
    return end.signal != 0 ? "ssh was killed by signal " + std::to_string(end.signal)
                           : "ssh ended with status " + std::to_string(end.exitStatus.value_or(-1));
}

}  // namespace station
