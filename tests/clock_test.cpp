// The virtual clock and the one-task-at-a-time rule that the whole suite stands on.

#include "vboard/kernel/clock.h"

#include <gtest/gtest.h>

#include <vector>

using namespace std::chrono_literals;
using vboard::Clock;

TEST(Clock, EventsHappenInTheOrderOfTheirTimeThenOfTheirOrdering) {
    Clock clock;
    std::vector<int> happened;
    clock.at(2s, [&] { happened.push_back(3); });
    clock.at(1s, [&] { happened.push_back(1); });
    clock.at(1s, [&] {
        happened.push_back(2);
        clock.at(0s, [&] { happened.push_back(9); });  // the past is now
    });
    while (clock.hasEvents()) {
        clock.advance();
    }
    EXPECT_EQ(happened, (std::vector{1, 2, 9, 3}));
    EXPECT_EQ(clock.now(), 2s);
}
