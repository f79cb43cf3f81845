// Each virtual board keeps to a core of the host that no other board has.

#include "vboard/kernel/own_core.h"

#include <gtest/gtest.h>

static cpu_set_t allowedCores() {
    cpu_set_t cores = {};
    EXPECT_EQ(sched_getaffinity(0, sizeof cores, &cores), 0);
    return cores;
}

// Boards of other programs may have every core just now: then nothing changes for ours.
TEST(OwnCore, IsNoOtherBoardsAndIsLeftAtTheEnd) {
    const cpu_set_t before = allowedCores();
    {
        const vboard::OwnCore first;
        const cpu_set_t firstCores = allowedCores();
        EXPECT_TRUE(CPU_COUNT(&firstCores) == 1 || CPU_EQUAL(&firstCores, &before));
        ASSERT_EQ(sched_setaffinity(0, sizeof before, &before), 0);  // as another board would begin
        const vboard::OwnCore second;
        const cpu_set_t secondCores = allowedCores();
        EXPECT_TRUE(!CPU_EQUAL(&firstCores, &secondCores) || CPU_EQUAL(&secondCores, &before));
    }
    const cpu_set_t after = allowedCores();
    EXPECT_TRUE(CPU_EQUAL(&before, &after));
}
