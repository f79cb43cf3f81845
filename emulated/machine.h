#pragma once

#include <array>
#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "emulated/hardware.h"
#include "emulated/host.h"
#include "emulated/qemu.h"

namespace emulated {

// In the order in which they are looked at: what was sent on a line comes before the request that follows it,
// and when the agent says that the tool ended, all else is read.
enum class Channel { panel, rs485, output, errors, records, clock, control, agent };
constexpr std::size_t channelCount = 8;

// An emulated machine with Debian's kernel, switched on when it is made and off when it goes. One case after
// the other runs on it.
class Machine {
  public:
    using Listener = std::function<void(std::string_view)>;

    // folder: see Qemu; log: of the kernel's console; signals: see openStopSignals; sshPort: of this
    // computer, that leads to the machine's SSH server, 0 for none; countsInstructions: the machine's clock
    // goes by its own instructions, one a nanosecond, and not by the host's load.
    Machine(const std::filesystem::path& folder, const vboard::VirtualBoard& board,
            const std::filesystem::path& log, int signals, unsigned sshPort, bool countsInstructions);

    const Hardware& hardware() const { return hardware_; }
    UsbPlugs& plugs() { return plugs_; }

    // Who hears a channel from now on; nobody hears what nobody listens to.
    void onBytes(Channel channel, Listener listener) { heard(channel).listener = std::move(listener); }
    void send(Channel channel, std::string_view bytes) { sendAll(heard(channel).fd, bytes); }
    void command(const std::string& qmp) { sendAll(monitor_, qmp); }

    // Waits for bytes, at most so long, and has them heard. afterEach is called before and after each piece.
    void listen(std::chrono::milliseconds atMost, const std::function<void()>& afterEach);

    void stop(const std::string& reason) { stopReason_ = stopReason_.empty() ? reason : stopReason_; }
    const std::string& stopReason() const { return stopReason_; }  // empty: it works
    bool stoppedBySignal() const { return stoppedBySignal_; }
    double sincePowerOn() const;

  private:
    struct Heard {
        int fd = -1;
        Listener listener;
    };
    Heard& heard(Channel channel) { return channels_[static_cast<std::size_t>(channel)]; }
    bool take(Heard& channel);
    void hearMonitor();

    TemporaryFolder folder_;
    Hardware hardware_;
    UsbPlugs plugs_;
    Qemu qemu_;
    int signals_;
    int monitor_ = -1;
    std::string reply_;  // of the monitor, a line that is not whole yet
    std::array<Heard, channelCount> channels_;
    std::chrono::steady_clock::time_point powerOn_;
    std::string stopReason_;
    bool stoppedBySignal_ = false;
};

}  // namespace emulated
