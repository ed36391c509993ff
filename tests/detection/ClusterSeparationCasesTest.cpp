#include <opencv2/imgproc.hpp>

#include "DetectionForms.h"
#include "reference/PlainClusterSeparation.h"
#include "support/MatTools.h"

using namespace korvane_test;

namespace {

int Blobs(const cv::Mat& separated) {
    cv::Mat mask;
    separated.convertTo(mask, CV_8U, 255.0);
    cv::Mat labels;
    return cv::connectedComponents(mask, labels, 8) - 1;
}

cv::Mat Discs(int width, int height) { return cv::Mat::zeros(height, width, CV_8U); }

}  // namespace

class ClusterSeparationCases : public ::testing::TestWithParam<SeparationForm> {};
INSTANTIATE_TEST_SUITE_P(Forms, ClusterSeparationCases, ::testing::ValuesIn(SeparationForms()),
                         FormName<SeparationForm>);

TEST_P(ClusterSeparationCases, AnEmptyMapYieldsNothing) {
    EXPECT_TRUE(SameMaps(cv::Mat::zeros(8, 9, CV_32F), GetParam().run(cv::Mat::zeros(8, 9, CV_8U), 1.0f)));
}

TEST_P(ClusterSeparationCases, AMapWithoutAnyZeroIsOneBlob) {
    const cv::Mat full(8, 9, CV_8U, cv::Scalar(255.0));
    EXPECT_TRUE(SameMaps(cv::Mat(8, 9, CV_32F, cv::Scalar(1.0)), GetParam().run(full, 1.0f)));
}

TEST_P(ClusterSeparationCases, ADiscYieldsOneBlobAtItsCentre) {
    cv::Mat map = Discs(80, 70);
    PaintDisc(map, 40.0, 30.0, 20.0, 255.0f);
    const cv::Mat blob = GetParam().run(map, 1.0f);
    ASSERT_EQ(Blobs(blob), 1);
    const cv::Moments moments = cv::moments(blob > 0.0, true);
    EXPECT_NEAR(moments.m10 / moments.m00, 40.0, 1.0);
    EXPECT_NEAR(moments.m01 / moments.m00, 30.0, 1.0);
}

TEST_P(ClusterSeparationCases, OverlappingDiscsComeApartWhereTheSaddleIsDeeperThanThree) {
    cv::Mat deep = Discs(100, 50);
    PaintDisc(deep, 30.0, 25.0, 15.0, 255.0f);
    PaintDisc(deep, 56.0, 25.0, 15.0, 255.0f);
    EXPECT_EQ(Blobs(GetParam().run(deep, 1.0f)), 2);
    cv::Mat shallow = Discs(100, 50);
    PaintDisc(shallow, 30.0, 25.0, 15.0, 255.0f);
    PaintDisc(shallow, 43.0, 25.0, 15.0, 255.0f);
    EXPECT_EQ(Blobs(GetParam().run(shallow, 1.0f)), 1);
}

TEST_P(ClusterSeparationCases, ASmallRegionKeepsItsInteriorOnlyIfTheErosionLeavesSome) {
    cv::Mat thin = Discs(40, 40);
    thin(cv::Rect(5, 10, 20, 2)).setTo(cv::Scalar(255.0));
    EXPECT_EQ(cv::countNonZero(GetParam().run(thin, 1.0f)), 0);
    cv::Mat cross = Discs(40, 40);
    cross(cv::Rect(10, 9, 1, 3)).setTo(cv::Scalar(255.0));
    cross(cv::Rect(9, 10, 3, 1)).setTo(cv::Scalar(255.0));
    EXPECT_EQ(Blobs(GetParam().run(cross, 1.0f)), 1);
}

TEST_P(ClusterSeparationCases, TheBlobOfOnePixelIsTheElementOfTheScale) {
    cv::Mat cross = Discs(40, 40);
    cross(cv::Rect(20, 19, 1, 3)).setTo(cv::Scalar(255.0));
    cross(cv::Rect(19, 20, 3, 1)).setTo(cv::Scalar(255.0));
    for (const float scale : {0.5f, 1.0f, 1.99f, 2.0f}) {
        const int size = static_cast<int>(scale + 5.0f);
        const cv::Mat element = cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(size, size));
        EXPECT_EQ(cv::countNonZero(GetParam().run(cross, scale)), cv::countNonZero(element)) << "scale " << scale;
    }
}

TEST_P(ClusterSeparationCases, TheBlobOfADiscStartsFromTheTopTwoAndAHalfOfItsDistances) {
    for (int i = 0; i < 40; ++i) {
        const double radius = 4.0 + 0.5 * i;
        cv::Mat map = Discs(64, 60);
        PaintDisc(map, 30.0 + 0.07 * i, 29.0 + 0.11 * i, radius, 255.0f);
        const cv::Mat distances = korvane_reference::PlainDistanceMap(map);
        double largest = 0.0;
        cv::minMaxLoc(distances, nullptr, &largest);
        const float base = static_cast<float>(largest) - 3.0f;
        cv::Mat blob = cv::Mat::zeros(map.size(), CV_32F);
        for (int y = 0; y < map.rows; ++y) {
            for (int x = 0; x < map.cols; ++x) {
                if (distances.at<float>(y, x) - base > 0.5f) blob.at<float>(y, x) = 1.0f;
            }
        }
        cv::erode(blob, blob, cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(3, 3)));
        cv::dilate(blob, blob, cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(6, 6)));
        EXPECT_TRUE(SameMaps(blob, GetParam().run(map, 1.0f))) << "radius " << radius;
    }
}

TEST_P(ClusterSeparationCases, APixelThatRisesByExactlyHalfAPixelIsNoCore) {
    // The roots of 9970 and 9477 are 2.5 apart in single precision. Both are distances in this disc.
    cv::Mat map = Discs(206, 206);
    PaintDisc(map, 102.47, 102.68, 100.39, 255.0f);
    const cv::Mat distances = korvane_reference::PlainDistanceMap(map);
    double largest = 0.0;
    cv::minMaxLoc(distances, nullptr, &largest);
    const float base = static_cast<float>(largest) - 3.0f;
    cv::Mat blob = cv::Mat::zeros(map.size(), CV_32F);
    int exact = 0;
    for (int y = 0; y < map.rows; ++y) {
        for (int x = 0; x < map.cols; ++x) {
            const float rise = distances.at<float>(y, x) - base;
            exact += rise == 0.5f ? 1 : 0;
            if (rise > 0.5f) blob.at<float>(y, x) = 1.0f;
        }
    }
    ASSERT_GT(exact, 0);
    cv::erode(blob, blob, cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(3, 3)));
    cv::dilate(blob, blob, cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(6, 6)));
    EXPECT_TRUE(SameMaps(blob, GetParam().run(map, 1.0f)));
}

TEST(PlainDistanceMap, EqualsTheShortestWayToAnyZero) {
    cv::RNG random(7);
    cv::Mat map(13, 21, CV_8U);
    random.fill(map, cv::RNG::UNIFORM, 0, 12);
    const cv::Mat distances = korvane_reference::PlainDistanceMap(map);
    for (int y = 0; y < map.rows; ++y) {
        for (int x = 0; x < map.cols; ++x) {
            int best = 1 << 20;
            for (int i = 0; i < map.rows * map.cols; ++i) {
                const int zy = i / map.cols;
                const int zx = i % map.cols;
                if (map.at<uchar>(zy, zx) == 0) best = std::min(best, (zx - x) * (zx - x) + (zy - y) * (zy - y));
            }
            ASSERT_EQ(distances.at<float>(y, x), std::sqrt(static_cast<float>(best))) << "x " << x << ", y " << y;
        }
    }
}
