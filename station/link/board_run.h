#pragma once

// The tool on a board: our program there starts it, sees to its end and tells both.

#include <functional>
#include <string>
#include <vector>

#include "station/interpret/run.h"
#include "station/keep/attempt_info.h"
#include "station/link/marker_scanner.h"
#include "station/link/ssh_call.h"
#include "station/link/time_limit.h"
#include "station/link/tool_process.h"

namespace station {

struct BoardPlan {
    std::string pipe;  // the report pipe there
    bool shared = false;
    double limitSeconds = 0;  // that the tool may run; 0: for ever
    std::string toolSha256;   // which tool it has to be; empty: any
    std::vector<std::string> command;
};

class BoardRun {
  public:
    // Where the streams go, asked for when the tool has started there, with what is known of the board by
    // then.
    using OnStarted = std::function<StreamHandlers(const LinkInfo& link, const std::string& toolSha256)>;

    // Throws std::system_error.
    BoardRun(const BoardAddress& board, const BoardPlan& plan, OnStarted onStarted);

    // From the first connection to the end of the run. What is neither seen nor told to have ended well ends
    // with a reason in brokeOff. Throws std::system_error, and what onStarted throws.
    ToolEnd supervise();

    // After that: why nothing was tested; empty: the tool ran.
    const std::string& refusal() const { return refusal_; }

  private:
    enum class Phase {
        connecting,  // nothing came from our program
        checking,    // it looks whether the tool can be started
        running,
        ended,  // its last line came
    };

    void readMarker(std::string_view line);
    bool readStart(std::string_view word, std::string_view rest);
    bool readEnd(std::string_view word, std::string_view rest);
    void start();
    void readRecords(std::string_view bytes);
    void readRest(std::string_view bytes);
    bool mustEnd() const;
    ToolEnd endOf(const ToolEnd& ssh);
    void settleRefusal(const ToolEnd& ssh);

    SshCall call_;
    BoardPlan plan_;
    OnStarted onStarted_;
    MarkerScanner scanner_;
    StreamHandlers handlers_;
    Phase phase_ = Phase::connecting;
    LinkInfo link_;
    std::string toolSha256_;
    bool recordsCame_ = false;
    std::string early_;    // records that overtook the word that the tool has started
    std::string said_;     // what the board printed before that
    std::string strange_;  // a line of our program that it never writes
    std::string why_;      // the program's word for what made it end the tool
    std::string refusal_;
    ToolEnd told_;     // the tool's end in the program's words
    int status_ = -1;  // that the program has to end with after its last line; -1: that has not come
    TimeLimit limit_;
};

}  // namespace station
