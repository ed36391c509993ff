#include "DetectionForms.h"
#include "support/MatTools.h"
#include "support/Phantoms.h"

using namespace korvane_test;

class GradientMagnitudeCases : public ::testing::TestWithParam<GradientForm> {};
INSTANTIATE_TEST_SUITE_P(Forms, GradientMagnitudeCases, ::testing::ValuesIn(GradientForms()), FormName<GradientForm>);

TEST_P(GradientMagnitudeCases, AConstantImageHasNoGradient) {
    EXPECT_TRUE(SameMaps(Constant(7, 5, 0.0f), GetParam().run(Constant(7, 5, 0.7f))));
}

TEST_P(GradientMagnitudeCases, ASingleRowHasTheGradientAlongTheRowHalvedAtItsEnds) {
    const cv::Mat row = (cv::Mat_<float>(1, 4) << 0.0f, 2.0f, 6.0f, 6.0f);
    const cv::Mat expected = (cv::Mat_<float>(1, 4) << 1.0f, 3.0f, 2.0f, 0.0f);
    EXPECT_TRUE(SameMaps(expected, GetParam().run(row)));
    EXPECT_TRUE(SameMaps(expected.t(), GetParam().run(row.t())));
}

TEST_P(GradientMagnitudeCases, BothDirectionsMakeALengthAndTheSourceIsNotChanged) {
    cv::Mat plane(5, 9, CV_32F);
    for (int y = 0; y < 5; ++y) {
        for (int x = 0; x < 9; ++x) plane.at<float>(y, x) = static_cast<float>(3 * x + 4 * y);
    }
    const cv::Mat before = plane.clone();
    const cv::Mat gradient = GetParam().run(plane);
    ASSERT_EQ(gradient.size(), plane.size());
    EXPECT_TRUE(SameMaps(before, plane));
    EXPECT_EQ(gradient.at<float>(2, 4), 5.0f);
    EXPECT_EQ(gradient.at<float>(2, 0), std::sqrt(1.5f * 1.5f + 16.0f));
    EXPECT_EQ(gradient.at<float>(4, 8), 2.5f);
}

TEST_P(GradientMagnitudeCases, AnImageWithoutRowsStaysAsItIs) {
    const cv::Mat none(0, 4, CV_32F);
    EXPECT_EQ(GetParam().run(none).total(), 0u);
}
