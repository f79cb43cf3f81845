#pragma once

// A call of the ordinary ssh program that runs one of our sh programs on a board.

#include <string>
#include <string_view>
#include <vector>

#include "host/descriptor.h"
#include "station/interpret/run.h"

namespace station {

struct BoardAddress {
    std::string destination;           // [USER@]HOST or what else ssh takes
    std::vector<std::string> options;  // each as behind ssh's -o
};

class SshCall {
  public:
    // The program gets a new token as its first argument. Throws std::system_error.
    SshCall(const BoardAddress& board, std::string_view program, const std::vector<std::string>& arguments);

    // The command to start.
    const std::vector<std::string>& words() const { return words_; }
    // Stands in front of each line of the program's own.
    const std::string& token() const { return token_; }

    // Fingerprint of the board's host key, as "SHA256:..."; empty while ssh has not told it.
    std::string hostKey() const;

    // What ssh itself says is wrong, with a hint where a person has to do something; empty: nothing.
    std::string complaint() const;

  private:
    std::vector<std::string> messages() const;

    host::Descriptor log_;  // a file without a name
    std::string token_;
    std::vector<std::string> words_;
};

constexpr int sshFailed = 255;  // ssh's exit status when it is not the command's

// Why ssh ended, as a person wants to read it.
std::string textOfSshEnd(const SshCall& call, const ToolEnd& end);

}  // namespace station
