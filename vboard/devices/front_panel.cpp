#include "vboard/devices/front_panel.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>
#include <utility>

#include "r8/contract/panel_frames.h"
#include "vboard/kernel/trace.h"

namespace vboard {

namespace {

constexpr std::size_t leastFrameBytes = panelFramingBytes + 4;  // shorter payloads are no command
constexpr std::size_t mostFrameBytes = panelFramingBytes + panelPayloadBytes;

template <typename Iterator>
std::uint8_t sumOf(Iterator begin, Iterator end) {
    return static_cast<std::uint8_t>(std::accumulate(begin, end, 0U));
}

}  // namespace

std::vector<std::uint8_t> FrontPanel::frame(const std::vector<std::uint8_t>& typeAndData) {
    std::vector<std::uint8_t> bytes(typeAndData.size() + 2);
    bytes[0] = panelEventStart;
    bytes[1] = static_cast<std::uint8_t>(typeAndData.size() + 3);
    std::copy(typeAndData.begin(), typeAndData.end(), bytes.begin() + 2);
    bytes.push_back(sumOf(bytes.begin(), bytes.end()));
    return bytes;
}

std::vector<std::uint8_t> FrontPanel::keyFrame(const std::string& key) {
    const auto found = std::find(std::begin(PanelKeyNames), std::end(PanelKeyNames), key);
    if (key.empty() || found == std::end(PanelKeyNames)) {
        throw std::out_of_range("the panel has no key " + key);
    }
    return frame({panelKeyEventType, static_cast<std::uint8_t>(found - std::begin(PanelKeyNames)), 0x00});
}

void FrontPanel::press(const std::vector<std::string>& keys, Time spacing) {
    sends.clear();
    for (const std::string& key : keys) {
        sends.push_back({spacing * static_cast<int>(sends.size() + 1), keyFrame(key)});
    }
}

std::string FrontPanel::frameTexts() const {
    std::string text;
    for (const TimedBytes& got : frames) {
        if (got.bytes[3] != panelHeartbeatCommand) {
            text += hexText(got.bytes.data(), got.bytes.size()) + "\n";
        }
    }
    return text;
}

void FrontPanel::configure(Section& section) {
    section.flag("present", present);
    if (section.has("answer")) {
        TimedBytes piece{std::chrono::milliseconds(20), {}};
        section.bytes("answer", piece.bytes);
        section.seconds("answerAfter", piece.at);
        answer = {piece};
    }
    bool silent = false;
    section.flag("silent", silent);
    if (silent) {
        answer.clear();
    }
    if (section.has("keys")) {
        std::vector<std::string> keys;
        Time spacing = std::chrono::milliseconds(500);
        section.texts("keys", keys);
        section.seconds("keySpacing", spacing);
        try {
            press(keys, spacing);
        } catch (const std::out_of_range& error) {
            section.fail("keys", std::string("names what is no key: ") + error.what());
        }
    }
    readTimedBytes(section, "sends", sends);
}

void FrontPanel::plugIn(Machine& machine) {
    clock_ = &machine.clock;
    lamps = Lamps::off;
    frames.clear();
    badFrames = 0;
    received_.clear();
    keysWaitForLamps_ = false;
    line.onByteSent = [this](std::uint8_t byte) { take(line.arrivedAtOtherEnd(byte)); };
    if (present) {
        line.plugIn(machine, "/dev/ttyS3");
    }
}

// Looks for the next start byte after whatever is wrong.
void FrontPanel::take(std::uint8_t byte) {
    received_.push_back(byte);
    const std::size_t length = received_.size() < 2 ? leastFrameBytes : received_[1];
    if (received_[0] != panelCommandStart || length < leastFrameBytes || length > mostFrameBytes) {
        ++badFrames;
        received_.clear();
        return;
    }
    if (received_.size() < length) {
        return;
    }
    const bool isGood = received_[2] == panelPayloadStart &&
                        received_.back() == sumOf(received_.begin(), received_.end() - 1);
    if (isGood) {
        frames.push_back({clock_->now(), received_});
        obey(received_);
    } else {
        ++badFrames;
    }
    received_.clear();
}

void FrontPanel::obey(const std::vector<std::uint8_t>& frame) {
    if (frame[3] == panelQueryCommand) {
        keysWaitForLamps_ = true;
        line.sendLater(answer);
    } else if (frame[3] == panelLampsCommand) {
        lamps = frame[5] == panelGreenLamps ? Lamps::green
                : frame[5] == panelRedLamps ? Lamps::red
                                            : Lamps::off;
        if (std::exchange(keysWaitForLamps_, false)) {
            line.sendLater(sends);
        }
    }
}

}  // namespace vboard
