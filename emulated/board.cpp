// Runs the board's own program on an emulated machine with Debian's kernel, and answers as the board's
// devices.

#include <CLI/CLI.hpp>

#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "emulated/far_ends.h"
#include "emulated/plan.h"
#include "emulated/qemu.h"
#include "emulated/refusals.h"
#include "vboard/screen.h"

using namespace emulated;

namespace {

using SteadyClock = std::chrono::steady_clock;
using std::chrono::seconds;

constexpr int wrongUse = 2;
constexpr int stoppedByBoard = 3;
constexpr seconds bootLimit{90};
constexpr std::size_t readBytes = 4096;

struct Options {
    std::string scenario;
    std::vector<std::string> command;
    std::string machine;
    std::string traceFile;
    std::string fifo;
    double limitSeconds = 240;
    bool raw = false;
    bool timestamps = false;
};

// Gone at the end, however it comes.
struct TemporaryFolder {
    std::filesystem::path path;
    TemporaryFolder() {
        std::string name = std::filesystem::temp_directory_path() / "r8-emulated-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), name);
        }
        path = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

// Stop signals come as bytes to read, so that everything is taken down in order.
int openStopSignals() {
    sigset_t signals;
    (void)sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        (void)sigaddset(&signals, signal);
    }
    (void)sigprocmask(SIG_BLOCK, &signals, nullptr);
    const int fd = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (fd < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    return fd;
}

void sendAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(fd, bytes.data(), bytes.size());
        if (count < 0 && errno == EAGAIN) {
            pollfd writable = {fd, POLLOUT, 0};
            (void)poll(&writable, 1, -1);
        } else if (count < 0) {
            throw std::system_error(errno, std::generic_category(), "the emulated machine");
        } else {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
    }
}

// One run, from the machine's power on to what the tool left behind.
class Run {
  public:
    Run(const Options& options, vboard::VirtualBoard& board, const std::vector<std::string>& toolArguments);
    int perform();

  private:
    struct Channel {
        int fd;
        std::function<void(std::string_view)> receive;
    };

    void connect(int fd, std::function<void(std::string_view)> receive) {
        channels_.push_back({fd, std::move(receive)});
    }
    void openChannels();
    void startMachine(const std::vector<std::string>& monitor);
    void listen();
    bool take(Channel& channel);
    int pollTimeout() const;
    void serveLines();
    void hearAgent(std::string_view bytes);
    void obeyAgent(const std::string& line);
    void hearControl(std::string_view bytes);
    void hearRecords(std::string_view bytes);
    void orderTyping();
    void say(const std::string& text) const;
    vboard::Time sinceToolStart() const;
    double sincePowerOn() const;

    const Options& options_;
    vboard::VirtualBoard& board_;
    TemporaryFolder folder_;
    Qemu qemu_;
    FarEnds farEnds_;
    Plan plan_;
    vboard::Screen console_;
    vboard::Screen errors_;
    std::vector<Channel> channels_;
    std::string agentLine_;
    std::string control_;
    int agent_ = -1;
    int controlPort_ = -1;
    int out_ = -1;
    int panel_ = -1;
    int rs485_ = -1;
    int monitor_ = -1;
    int fifo_ = -1;
    SteadyClock::time_point powerOn_;
    std::optional<SteadyClock::time_point> toolStart_;
    std::optional<int> status_;
    std::string stopReason_;
    bool leftSomething_ = false;
};

Run::Run(const Options& options, vboard::VirtualBoard& board, const std::vector<std::string>& toolArguments)
    : options_(options),
      board_(board),
      qemu_(options.machine),
      farEnds_(board),
      plan_(makePlan(board, toolArguments, folder_.path)),
      console_(stdout, options.raw, options.timestamps),
      errors_(stderr, options.raw, options.timestamps) {}

void Run::say(const std::string& text) const {
    (void)std::fprintf(stderr, "emulated: %s\n", text.c_str());
}

double Run::sincePowerOn() const {
    return std::chrono::duration<double>(SteadyClock::now() - powerOn_).count();
}

vboard::Time Run::sinceToolStart() const {
    return toolStart_ ? vboard::Time(SteadyClock::now() - *toolStart_) : vboard::Time(0);
}

// In the order in which they are looked at: what was sent on a line comes before the request that follows it.
void Run::openChannels() {
    panel_ = qemu_.addChannel("panel");
    rs485_ = qemu_.addChannel("rs485");
    qemu_.add({"-chardev", "null,id=unused0", "-chardev", "null,id=unused2", "-device",
               "pci-serial-4x,chardev1=unused0,chardev2=rs485,chardev3=unused2,chardev4=panel"});
    monitor_ = qemu_.addChannel("monitor");
    qemu_.add({"-mon", "chardev=monitor,mode=control", "-S"});
    connect(panel_, [this](std::string_view bytes) { FarEnds::hear(board_.panel.line, bytes); });
    connect(rs485_, [this](std::string_view bytes) { FarEnds::hear(board_.rs485.line, bytes); });
    connect(monitor_, [this](std::string_view bytes) {
        if (bytes.find("\"error\"") != std::string_view::npos) {
            stopReason_ = "qemu refused: " + std::string(bytes);
        }
    });
    out_ = qemu_.addPort("out");
    connect(out_, [this](std::string_view bytes) { console_.show(sinceToolStart(), bytes); });
    connect(qemu_.addPort("err"), [this](std::string_view bytes) { errors_.show(sinceToolStart(), bytes); });
    connect(qemu_.addPort("records"), [this](std::string_view bytes) { hearRecords(bytes); });
    agent_ = qemu_.addPort("agent");
    controlPort_ = qemu_.addPort("control");
    connect(controlPort_, [this](std::string_view bytes) { hearControl(bytes); });
    connect(agent_,
            [this](std::string_view bytes) { hearAgent(bytes); });  // last: "ended" means that all is read
}

void Run::startMachine(const std::vector<std::string>& monitor) {
    const std::filesystem::path log = std::filesystem::path(options_.machine) / "console.log";
    powerOn_ = SteadyClock::now();
    qemu_.start(log);
    say("Debian's kernel boots on an emulated 32-bit ARM machine, this takes some 10 s (its log: " +
        log.string() + ")");
    sendAll(monitor_, "{\"execute\":\"qmp_capabilities\"}");
    for (const std::string& command : monitor) {
        sendAll(monitor_, command);
    }
    sendAll(monitor_, "{\"execute\":\"cont\"}");
}

int Run::pollTimeout() const {
    constexpr int atLeastEvery = 1000;  // ms, for the limits
    if (!toolStart_ || !farEnds_.hasEvents()) {
        return atLeastEvery;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(farEnds_.nextEvent() - sinceToolStart()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, atLeastEvery));
}

// False when the channel has nothing more to say now.
bool Run::take(Channel& channel) {
    char bytes[readBytes];
    const ssize_t count = read(channel.fd, bytes, sizeof bytes);
    if (count > 0) {
        channel.receive({bytes, static_cast<std::size_t>(count)});
        return true;
    }
    if (count == 0 || errno != EAGAIN) {
        stopReason_ = stopReason_.empty() ? "the emulated machine went away" : stopReason_;
    }
    return false;
}

void Run::serveLines() {
    farEnds_.catchUp(sinceToolStart());
    if (farEnds_.isSending()) {
        return;
    }
    if (board_.panel.present) {
        sendAll(panel_, FarEnds::say(board_.panel.line));
    }
    if (board_.rs485.present) {
        sendAll(rs485_, FarEnds::say(board_.rs485.line));
    }
}

void Run::listen() {
    std::vector<pollfd> waiting;
    for (const Channel& channel : channels_) {
        waiting.push_back({channel.fd, POLLIN, 0});
    }
    (void)poll(waiting.data(), waiting.size(),
               pollTimeout());  // an interrupted one is as good as a short one
    serveLines();
    for (Channel& channel : channels_) {
        while (stopReason_.empty() && take(channel)) {
            serveLines();
        }
    }
    const auto limit = toolStart_ ? std::chrono::duration<double>(options_.limitSeconds) : bootLimit;
    const double spent =
        toolStart_ ? std::chrono::duration<double>(sinceToolStart()).count() : sincePowerOn();
    if (spent > limit.count() && !status_) {
        stopReason_ = toolStart_ ? "the tool did not end in time" : "the machine did not come up in time";
    }
}

void Run::hearAgent(std::string_view bytes) {
    for (const char character : bytes) {
        if (character != '\n') {
            agentLine_ += character;
            continue;
        }
        obeyAgent(std::exchange(agentLine_, ""));
    }
}

void Run::obeyAgent(const std::string& line) {
    char text[64];
    (void)std::snprintf(text, sizeof text, " after %.1f s", sincePowerOn());
    if (line == "ready") {
        say("the machine is up" + std::string(text) + ", the board is put together");
        for (const std::string& command : plan_.guest) {
            sendAll(agent_, command + "\n");
        }
    } else if (line == "started") {
        toolStart_ = SteadyClock::now();
        orderTyping();
        say("the tool starts" + std::string(text));
    } else if (line.starts_with("ended ")) {
        status_ = std::stoi(line.substr(6));
    } else if (line.starts_with("gave up")) {
        stopReason_ = line;
    } else {
        leftSomething_ = leftSomething_ || line.starts_with("left");
        say(line);
    }
}

void Run::hearControl(std::string_view bytes) {
    control_ += bytes;
    while (control_.size() >= sizeof(ControlMessage)) {
        ControlMessage message;
        std::memcpy(&message, control_.data(), sizeof message);
        control_.erase(0, sizeof message);
        farEnds_.answer(message);
        sendAll(controlPort_, {reinterpret_cast<const char*>(&message), sizeof message});
    }
}

void Run::hearRecords(std::string_view bytes) {
    if (options_.fifo.empty()) {
        console_.show(sinceToolStart(), bytes);
        return;
    }
    if (fifo_ < 0) {
        fifo_ = open(options_.fifo.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK);
        if (fifo_ < 0) {
            throw std::system_error(errno, std::generic_category(), options_.fifo);
        }
        (void)fcntl(fifo_, F_SETFL, 0);
    }
    sendAll(fifo_, bytes);
}

void Run::orderTyping() {
    for (const vboard::TypedText& typed : board_.operatorInput.types) {
        farEnds_.clock().at(typed.at, [this, text = typed.text] { sendAll(out_, text); });
    }
}

int Run::perform() {
    const int signals = openStopSignals();
    connect(signals, [this](std::string_view) { stopReason_ = "stopped by a signal"; });
    openChannels();
    qemu_.add(plan_.machine);
    startMachine(plan_.monitor);
    while (stopReason_.empty() && !status_) {
        listen();
    }
    console_.endLine();
    errors_.endLine();
    (void)close(signals);
    if (fifo_ >= 0) {
        (void)close(fifo_);
    }
    if (!options_.traceFile.empty()) {
        std::ofstream(options_.traceFile) << toText(farEnds_.trace);
    }
    for (const vboard::TraceEntry& entry : farEnds_.trace) {
        if (entry.refused) {
            say(entry.text());
        }
    }
    for (const std::string& request : farEnds_.idleFaults()) {
        say("the fault of \"" + request + "\" never struck");
    }
    if (!stopReason_.empty()) {
        say("stopped: " + stopReason_);
        return stoppedByBoard;
    }
    say("the tool ended with status " + std::to_string(*status_) + " after " +
        std::to_string(std::chrono::duration<double>(sinceToolStart()).count()) + " s");
    return leftSomething_ ? stoppedByBoard : *status_;
}

int launch(const Options& options) {
    vboard::VirtualBoard board(options.scenario);
    const std::vector<std::string> refused = refusalsOf(board);
    for (const std::string& what : refused) {
        std::cerr << "emulated: this board can't do " << what << "\n";
    }
    if (!refused.empty()) {
        return wrongUse;
    }
    std::vector<std::string> arguments = board.arguments;
    if (!options.command.empty()) {
        arguments.assign(options.command.begin() + 1, options.command.end());
    }
    for (const std::string& argument : arguments) {
        if (argument.find_first_of("'\n") != std::string::npos) {
            throw std::runtime_error("an argument of the tool with a quote or a line break");
        }
    }
    return Run(options, board, arguments).perform();
}

}  // namespace

int main(int argc, char** argv) {
    (void)signal(SIGPIPE, SIG_IGN);
    Options options;
    CLI::App app{
        "Runs the board's own program on an emulated 32-bit ARM machine with Debian's kernel; the "
        "scenario's\n"
        "devices answer. Ends with the tool's exit status; 2 for wrong use or what this board can't do; 3 "
        "when\n"
        "the machine or the run had to be stopped, or the tool left something behind."};
    app.add_flag("--raw", options.raw, "leave the bytes as they are (GBK)");
    app.add_flag("--timestamps", options.timestamps,
                 "put the seconds since the tool's start in front of each line");
    app.add_option("--machine", options.machine, "folder with the unpacked kernel and initramfs.cpio")
        ->required();
    app.add_option("--trace", options.traceFile, "write every request on the control device to this file");
    app.add_option("--fifo", options.fifo, "hand the records to the reader of this FIFO");
    app.add_option("--limit", options.limitSeconds, "seconds that the tool may take")->capture_default_str();
    app.add_option("scenario", options.scenario, "board to run on")->required();
    app.add_option("command", options.command, "the tool and its arguments, behind --");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : wrongUse;
    }
    try {
        return launch(options);
    } catch (const std::exception& error) {
        std::cerr << "emulated: " << error.what() << "\n";
        return stoppedByBoard;
    }
}
