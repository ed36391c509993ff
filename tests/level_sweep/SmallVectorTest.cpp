#include "network/SmallVector.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

TEST(SmallVector, HoldsWhatAVectorHoldsWhetherItIsShortOrLong) {
    std::mt19937 random(2);
    level_sweep::SmallVector<int, 6> array;
    std::vector<int> expected;
    for (int step = 0; step < 3000; ++step) {
        const std::size_t first = random() % (expected.size() + 1);
        const std::size_t end = first + random() % (expected.size() + 1 - first);
        std::vector<int> values(random() % 5);
        for (int& value : values) value = static_cast<int>(random() % 1000);
        array.Replace(first, end, values.data(), values.size());
        expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(first),
                       expected.begin() + static_cast<std::ptrdiff_t>(end));
        expected.insert(expected.begin() + static_cast<std::ptrdiff_t>(first), values.begin(), values.end());
        if (step % 7 == 0) {
            const std::size_t size = random() % 14;
            const std::size_t kept = std::min(size, expected.size());
            array.Resize(size);
            expected.resize(size);
            for (std::size_t i = kept; i < size; ++i) array[i] = expected[i] = static_cast<int>(i);
        }
        ASSERT_EQ(std::vector<int>(array.data(), array.data() + array.size()), expected) << "step " << step;
    }
}

}  // namespace
