// The frames of the front panel, both ways.

#include <unistd.h>

#include "r8/contract/panel_frames.h"
#include "r8/panel/panel_link.h"
#include "tests/tool_runs.h"

using vboard::FrontPanel;
using Bytes = std::vector<std::uint8_t>;

// The value that ReadPanelFrame finds in these bytes with nothing behind them.
static int valueOf(const Bytes& bytes) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    EXPECT_EQ(write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    (void)close(ends[1]);
    const int value = ReadPanelFrame(ends[0], 0, 0);
    (void)close(ends[0]);
    return value;
}

TEST(PanelLink, ReadsFramesAsNumbers) {
    const struct {
        Bytes bytes;
        int value;
    } cases[] = {
        {{0xFF, 0x06, 0x20, 0x14, 0x00, 0x39}, 0x201400},
        {{0x12, 0x34, 0xFF, 0x06, 0x20, 0x15, 0x00, 0x3A}, 0x201500},
        {{0xFF, 0x04, 0x30, 0x33}, 0x30},
        {FrontPanel::frame({0x22}), 0x22},
        {FrontPanel::frame({0x21, 1, 2, 3}), 0x21010203},
        {FrontPanel::frame({0x20, 1, 2, 3, 4, 5}), 0x02030405},
        {FrontPanel::frame({0x30, 0x80, 0, 0, 0}), static_cast<int>(0x80000000U)},
        {FrontPanel::frame(Bytes(37, 0x30)), 0x30303030},  // 40 bytes, the longest
        {FrontPanel::frame(Bytes(38, 0x30)), 0},
        {{0xFF, 0x03, 0x20, 0x22}, 0},
        {{0xFF, 0x06, 0x40, 0x14, 0x00, 0xFF, 0x06, 0x20, 0x0A, 0x00, 0x2F}, 0x200A00},
        {{0xFF, 0x06, 0xFF, 0x06, 0x20, 0x0A, 0x00, 0x2F}, 0},
        {{0xFF, 0x06, 0xFF, 0xFF, 0x06, 0x20, 0x0A, 0x00, 0x2F}, 0},  // though one begins behind it
        {{0xFF, 0xFF, 0x06, 0x20, 0x0A, 0x00, 0x2F}, 0},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(valueOf(row.bytes), row.value) << vboard::hexText(row.bytes.data(), row.bytes.size());
    }
}

TEST(PanelLink, NoDamagedByteAndNoMissingByteMakesAKeyEvent) {
    for (const std::string key : {"UP", "DOWN", "MENU"}) {
        const Bytes frame = FrontPanel::keyFrame(key);
        for (std::size_t place = 0; place < frame.size(); ++place) {
            EXPECT_EQ(valueOf(Bytes(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(place))), 0);
            for (int change = 1; change < 256; ++change) {
                Bytes damaged = frame;
                damaged[place] = static_cast<std::uint8_t>(damaged[place] ^ change);
                ASSERT_EQ(valueOf(damaged), 0) << key << " " << vboard::hexText(damaged.data(), 6);
            }
        }
    }
}

TEST(PanelLink, CommandsKeepTheirLastArgument) {
    for (int index = 0; index < panelCommandCount; ++index) {
        std::uint8_t frame[panelFrameBytes];
        int length = 0;
        BuildPanelFrame(index, frame, &length);
        const std::uint8_t argument = index == 1 ? 1 : 0;
        const auto code = static_cast<std::uint8_t>(index < 2 ? 1 : index == 15 ? 0x40 : index);
        const auto sum = static_cast<std::uint8_t>(0x35 + code + argument);
        EXPECT_EQ(Bytes(frame, frame + length), (Bytes{0xFE, 7, 0x30, code, argument, 0, sum})) << index;
    }
    EXPECT_EQ(SendPanelCommand4(4), 1);  // no port is open: nothing is sent, the argument stays
    EXPECT_EQ(PanelCommandTable[4].payload[3], 4);
}
