#include "skeleton/StepQueue.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>

#include "ChangingSets.h"

namespace {

using korvane_test::Between;

TEST(StepQueue, EveryBlockIsTakenOnceAtTheEarliestStepItWasQueuedFor) {
    constexpr int blocks = 40;
    std::mt19937 random(9);
    level_sweep::StepQueue queue(blocks);
    queue.Exclude(7);
    std::map<std::int32_t, int> expected;  // step by block
    const auto add = [&](int earliestStep) {
        const std::int32_t block = Between(random, 0, blocks - 1);
        const int step = earliestStep + Between(random, 0, 20);
        const auto found = expected.find(block);
        const bool isNew = block != 7 && (found == expected.end() || found->second > step);
        if (isNew) expected[block] = step;
        ASSERT_EQ(queue.Add(block, step), isNew);
        ASSERT_EQ(queue.IsWaiting(block), expected.count(block) != 0);
    };
    for (int round = 0; round < 200; ++round) {
        for (int i = Between(random, 0, 60); i > 0; --i) ASSERT_NO_FATAL_FAILURE(add(1));
        int last = 0;
        int taken = 0;
        queue.TakeAll([&](std::int32_t block, int step) {
            ASSERT_GE(step, last);
            last = step;
            ASSERT_EQ(expected.count(block), 1u);
            ASSERT_EQ(expected[block], step);
            for (const auto& [waiting, waitsFor] : expected) ASSERT_LE(step, waitsFor) << "block " << waiting;
            expected.erase(block);
            if (++taken < 100) add(step + 1);
        });
        ASSERT_TRUE(expected.empty());
    }
}

}  // namespace
