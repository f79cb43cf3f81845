#include "vboard/devices/rs485_bus.h"

#include <algorithm>
#include <iterator>
#include <numeric>

#include "r8/contract/rs485_frames.h"

namespace vboard {

namespace {

bool isGood(const std::vector<std::uint8_t>& frame) {
    const auto sum = static_cast<std::uint8_t>(std::accumulate(frame.begin(), frame.end() - 1, 0U));
    return frame[0] == rs485FrameStart && frame[1] == rs485DeviceAddress && frame.back() == sum;
}

}  // namespace

std::vector<std::uint8_t> goodAnswer() {
    std::vector<std::uint8_t> answer(1 + rs485ReplyBytes, rs485ReplyLead);
    std::copy(std::begin(Rs485ExpectedReply), std::end(Rs485ExpectedReply), answer.begin() + 1);
    return answer;
}

void Rs485Bus::configure(Section& section) {
    section.flag("present", present);
    section.flag("deviceConnected", deviceConnected);
    section.flag("hearsItself", hearsItself);
    section.number("corruptedByte", corruptedByte);
    section.number("receiveTrigger", line.receiveTrigger);
    if (section.has("answer")) {
        answers.clear();
    }
    section.each("answer", [&](Section& entry) {
        TestDeviceAnswer answer;
        entry.bytes("bytes", answer.bytes);
        entry.number("leadingZeros", answer.leadingZeros);
        entry.seconds("after", answer.after);
        entry.number("tornAfter", answer.tornAfter);
        entry.seconds("gap", answer.gap);
        answers.push_back(answer);
    });
}

void Rs485Bus::plugIn(Machine& machine) {
    clock_ = &machine.clock;
    frames.clear();
    received_.clear();
    badFrames = bytesNotDriven = bytesNotHeard = echoCount_ = 0;
    commandCount_ = 0;
    line.onByteSent = [this](std::uint8_t byte) { drive(byte); };
    line.mayReceive = [this] {
        bytesNotHeard += switches_.receiverOn ? 0 : 1;
        return switches_.receiverOn;
    };
    if (present) {
        line.plugIn(machine, "/dev/ttyS1");
    }
}

void Rs485Bus::drive(std::uint8_t byte) {
    if (!switches_.transmitterOn) {
        ++bytesNotDriven;
        return;
    }
    if (hearsItself && switches_.receiverOn) {
        line.receive(++echoCount_ == corruptedByte ? static_cast<std::uint8_t>(~byte) : byte);
    }
    if (deviceConnected) {
        take(line.arrivedAtOtherEnd(byte));
    }
}

void Rs485Bus::take(std::uint8_t byte) {
    received_.push_back(byte);
    const bool isStarted = received_[0] == rs485FrameStart;
    if (isStarted && received_.size() < rs485FrameBytes) {
        return;
    }
    if (isStarted && isGood(received_)) {
        frames.push_back({clock_->now(), received_});
        answerCommand();
    } else {
        ++badFrames;
    }
    received_.clear();
}

void Rs485Bus::answerCommand() {
    if (received_[2] == rs485StopCommand) {
        return;
    }
    const std::size_t index = commandCount_++;
    const TestDeviceAnswer answer = index < answers.size() ? answers[index] : TestDeviceAnswer();
    std::vector<std::uint8_t> bytes(answer.bytes.empty() ? 0 : answer.leadingZeros, 0x00);
    bytes.insert(bytes.end(), answer.bytes.begin(), answer.bytes.end());
    const auto tear = bytes.begin() + static_cast<std::ptrdiff_t>(std::min(answer.tornAfter, bytes.size()));
    const std::vector<std::uint8_t> first(bytes.begin(), tear);
    const Time firstTakes = SerialLine::otherEndCharacterTime * static_cast<int>(first.size());
    line.sendLater({{answer.after, first}, {answer.after + firstTakes + answer.gap, {tear, bytes.end()}}});
}

}  // namespace vboard
