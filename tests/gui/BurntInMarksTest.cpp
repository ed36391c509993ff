#include "BurntInMarks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

namespace {

using namespace Korvane;

/// The boxes that are outlined for pieces of writing, in an image of 400 x 300 pixels.
std::vector<PixelRectangle> Outlined(const std::vector<PixelBox>& writing) {
    BurntIn burntIn;
    for (const PixelBox& box : writing) burntIn.annotations.pieces.push_back({Annotation::Kind::kWriting, box, 1, 0});
    return MarksOf(burntIn, 400, 300).boxes;
}

void ExpectBox(const PixelRectangle& found, const PixelRectangle& wanted) {
    EXPECT_EQ(found.x, wanted.x);
    EXPECT_EQ(found.y, wanted.y);
    EXPECT_EQ(found.width, wanted.width);
    EXPECT_EQ(found.height, wanted.height);
}

// A character of 10 x 12 pixels, and a second one on each of its sides: less than its height away, and its height away.
TEST(BurntInMarks, CharactersLessThanTheirHeightApartAreOutlinedTogether) {
    constexpr std::int64_t kWidth = 10;
    constexpr std::int64_t kHeight = 12;
    const PixelBox first{100, 100, kWidth, kHeight};
    for (const auto& [right, down] : std::vector<std::pair<int, int>>{{1, 0}, {-1, 0}, {0, 1}, {0, -1}, {1, 1}}) {
        SCOPED_TRACE(testing::Message() << right << ", " << down);
        const auto second = [&, right = right, down = down](std::int64_t gap) {
            return PixelBox{first.x + right * (kWidth + gap), first.y + down * (kHeight + gap), kWidth, kHeight};
        };
        const PixelBox near = second(kHeight - 1);
        const std::vector<PixelRectangle> together = Outlined({first, near});
        ASSERT_EQ(together.size(), 1u);
        ExpectBox(together[0], {static_cast<std::uint64_t>(std::min(first.x, near.x)),
                                static_cast<std::uint64_t>(std::min(first.y, near.y)),
                                static_cast<std::uint64_t>(kWidth + std::abs(near.x - first.x)),
                                static_cast<std::uint64_t>(kHeight + std::abs(near.y - first.y))});
        EXPECT_EQ(Outlined({first, second(kHeight)}).size(), 2u);
    }
}

TEST(BurntInMarks, APieceBetweenTwoThatAreFarApartJoinsThem) {
    const std::vector<PixelRectangle> found =
        Outlined({{10, 50, 10, 12}, {60, 50, 10, 12}, {200, 200, 10, 12}, {30, 50, 22, 12}});
    ASSERT_EQ(found.size(), 2u);
    ExpectBox(found[0], {200, 200, 10, 12});
    ExpectBox(found[1], {10, 50, 60, 12});
}

TEST(BurntInMarks, BarsReachOverTheWidthOfTheImage) {
    BurntIn burntIn;
    burntIn.bars = {20, 30};
    const std::vector<PixelRectangle> found = MarksOf(burntIn, 400, 300).boxes;
    ASSERT_EQ(found.size(), 2u);
    ExpectBox(found[0], {0, 0, 400, 20});
    ExpectBox(found[1], {0, 270, 400, 30});
    EXPECT_TRUE(MarksOf(BurntIn(), 400, 300).boxes.empty());
}

}  // namespace
