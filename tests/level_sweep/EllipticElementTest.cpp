#include "enclosed/EllipticElement.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

namespace {

TEST(EllipticElement, SetsThePixelsThatDilatingASinglePixelSets) {
    for (int size = 1; size <= 300; size += size < 40 ? 1 : 13) {
        cv::Mat expected = cv::Mat::zeros(2 * size + 5, 2 * size + 5, CV_8U);
        const cv::Point centre(size + 2, size + 2);
        expected.at<uchar>(centre) = 1;
        cv::Mat marked = cv::Mat::zeros(expected.size(), CV_8U);
        cv::dilate(expected, expected, cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(size, size)));
        for (const level_sweep::PixelRun& span : level_sweep::ReflectedEllipticElement(size)) {
            for (int dx = span.x0; dx <= span.x1; ++dx) marked.at<uchar>(centre.y + span.y, centre.x + dx) = 1;
        }
        ASSERT_EQ(cv::countNonZero(marked != expected), 0) << "size " << size;
    }
}

TEST(EllipticElement, OfNoSizeHasNoPixel) { EXPECT_TRUE(level_sweep::ReflectedEllipticElement(0).empty()); }

}  // namespace
