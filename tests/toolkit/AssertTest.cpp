#include "Assert.h"

#include <gtest/gtest.h>

#include "LargePages.h"
#include "VoxelImage.h"

namespace {

#ifdef KORVANE_ASSERTIONS

TEST(AssertDeathTest, AFailureNamesFileLineAndConditionWithoutThePathOfTheBuild) {
    const int sizes = 3;
    // A compiler cache may name the file from the build folder; what must not be there is an absolute path.
    EXPECT_DEATH(KORVANE_ASSERT(sizes == 4),
                 "^\\.[./]*/tests/toolkit/AssertTest\\.cpp:[0-9]+: assertion failed: sizes == 4");
}

TEST(AssertDeathTest, VoxelsBeyondAnImageAreCaught) {
    qvox::VoxelImage<float> image;
    image.Resize(3, 2, 1);
    image.Zero();
    EXPECT_DEATH(image[6] = 1.0f, "VoxelImage\\.h:[0-9]+: assertion failed: index < VoxelCount");
    EXPECT_DEATH(image(3, 0) = 1.0f, "VoxelImage\\.h:[0-9]+: assertion failed: x < sizeX_");
    EXPECT_DEATH(image(0, 2) = 1.0f, "assertion failed");
    EXPECT_DEATH(image(0, 0, 1) = 1.0f, "assertion failed");
    EXPECT_DEATH(static_cast<void>(image.Row(2)), "assertion failed: y < sizeY_");
    EXPECT_DEATH(static_cast<void>(image.Row(0, 1)), "assertion failed");
}

TEST(AssertDeathTest, ElementsBeyondALargeArrayAreCaught) {
    const auto values = qvox::MakeLargePageArray<int>(5);
    EXPECT_DEATH(values[5] = 1, "LargePages\\.h:[0-9]+: assertion failed: i < count_");
    EXPECT_DEATH(qvox::LargePageArray<int>()[0] = 1, "assertion failed");
}

TEST(Assert, AConditionThatHoldsIsEvaluatedOnceAndChangesNothing) {
    int evaluated = 0;
    KORVANE_ASSERT(++evaluated == 1);
    EXPECT_EQ(evaluated, 1);
}

#else

TEST(Assert, NothingIsEvaluatedInARelease) {
    int evaluated = 0;
    KORVANE_ASSERT(++evaluated == 2);
    EXPECT_EQ(evaluated, 0);
}

#endif

}  // namespace
