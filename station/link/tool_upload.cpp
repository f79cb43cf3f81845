#include "station/link/tool_upload.h"

#include <fcntl.h>

#include "station/interpret/text.h"
#include "station/keep/files.h"
#include "station/link/board_programs.h"
#include "station/link/marker_scanner.h"
#include "station/link/tool_process.h"
#include "station/wrong_use.h"

namespace station {

namespace {

constexpr const char* silenceSeconds = "10";
constexpr double startSeconds = 30;
constexpr double slowestBytesPerSecond = 512;
constexpr std::size_t mostSaid = 1024;  // bytes of what the board prints that a reason may quote

std::string textOf(std::string_view last, const std::string& path) {
    if (last == "present") {
        return path + ": the very same tool is there already";
    }
    if (last == "uploaded") {
        return path + ": uploaded and checked";
    }
    return last == "unchecked"
               ? path +
                     ": uploaded; its length is right, its content is not checked, for the board has "
                     "no sha256sum"
               : "";
}

// What our program said, and what else came, which belongs to a refusal.
struct Answer {
    std::string last;
    std::string rest;

    void feed(MarkerScanner& scanner, std::string_view bytes) {
        scanner.feed(
            bytes, [this](std::string_view line) { last = utf8FromEither(line); },
            [this](std::string_view text) {
                rest.append(text.substr(0, mostSaid - std::min(mostSaid, rest.size())));
            });
    }
};

}  // namespace

std::string uploadTool(const BoardAddress& board, const std::filesystem::path& tool,
                       const std::string& path) {
    const host::Descriptor content(open(tool.c_str(), O_RDONLY | O_CLOEXEC));
    host::require(content.isOpen(), tool);
    const auto bytes = std::filesystem::file_size(tool);
    const SshCall call(board, uploadProgram,
                       {path, sha256OfFile(tool), std::to_string(bytes), silenceSeconds});
    MarkerScanner scanner(call.token());
    Answer answer;
    StreamHandlers streams;
    streams.records = [](std::string_view) {};  // nothing that we wait for
    streams.errors = [&](std::string_view text) { answer.feed(scanner, text); };
    streams.tick = [] {};
    const TimeLimit answerLimit(startSeconds);
    const TimeLimit limit(startSeconds + static_cast<double>(bytes) / slowestBytesPerSecond);
    ToolStart start;
    start.command = call.words();
    start.input = content.get();
    start.mustEnd = [&] { return limit.isOver() || (answer.last.empty() && answerLimit.isOver()); };
    const ToolEnd end = superviseTool(start, streams);
    if (end.interrupted) {
        throw WrongUse("the station was stopped while it brought the tool to the board");
    }
    const std::string done = end.exitStatus == 0 ? textOf(answer.last, path) : "";
    if (done.empty()) {
        const bool told = answer.last.starts_with("refused ");
        throw WrongUse(
            "the tool could not be brought to the board: " + (told ? answer.last : textOfSshEnd(call, end)) +
            (answer.rest.empty() ? "" : "\n  ") + std::string(trimmed(utf8FromEither(answer.rest))));
    }
    return done;
}

}  // namespace station
