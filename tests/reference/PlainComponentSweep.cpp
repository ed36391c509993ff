#include "reference/PlainComponentSweep.h"

#include <vector>

#include <opencv2/imgproc.hpp>

#include "reference/PlainMaskedOperations.h"
#include "reference/PlainRegionFilling.h"
#include "reference/PlainSkeleton.h"
#include "reference/PlainTruncation.h"

namespace korvane_reference {

namespace {

int FloodFill(cv::Mat& map, int x, int y, double value, int connectivity) {
    return cv::floodFill(map, cv::Point(x, y), cv::Scalar(value), nullptr, cv::Scalar(0.0), cv::Scalar(0.0),
                         connectivity);
}

void DilateOnce(const cv::Mat& source, cv::Mat& target, int shape, int size) {
    const cv::Mat element = cv::getStructuringElement(shape, cv::Size(size, size));
    cv::dilate(source, target, element, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT, cv::morphologyDefaultBorderValue());
}

}  // namespace

void PlainComponentSweep(cv::Mat& componentMap, cv::Mat& candidateMap, float scale, float maxRelativeClusterSize) {
    const int minimumArea = PlainTruncateToInt(static_cast<double>(scale * maxRelativeClusterSize * 100.0f));
    const int maximumArea = PlainTruncateToInt(static_cast<double>(scale * maxRelativeClusterSize * 50000.0f));
    cv::Mat scan = componentMap.clone();
    for (int y = 0; y < scan.rows; ++y) {
        for (int x = 0; x < scan.cols; ++x) {
            if (scan.at<float>(y, x) != 1.0f) continue;
            const int area = FloodFill(scan, x, y, 2.0, 4);
            if (area < minimumArea) {
                FloodFill(componentMap, x, y, 0.0, 4);
            } else if (area > maximumArea) {
                // Stays 1.0.
            } else {
                FloodFill(componentMap, x, y, 2.0, 4);
                PlainEnclosedRegionAnalysis(componentMap, {area, x, y}, candidateMap, scale);
            }
        }
    }
}

cv::Mat PlainTouchedRegions(cv::Mat& componentMap, const PlainComponentRecord& record) {
    cv::Mat work = componentMap.clone();
    FloodFill(work, record.seedX, record.seedY, 4.0, 4);
    cv::Mat component;
    cv::threshold(work, component, 3.0, 1.0, cv::THRESH_BINARY);
    FloodFill(work, record.seedX, record.seedY, 2.0, 4);

    cv::Mat ring;
    DilateOnce(component, ring, cv::MORPH_CROSS, 3);
    cv::subtract(ring, component, ring);
    cv::Mat ring8;
    ring.convertTo(ring8, CV_8U, 1.0, 0.0);
    std::vector<cv::Point> ringPixels;
    cv::findNonZero(ring8, ringPixels);

    for (const cv::Point& pixel : ringPixels) {
        if (work.at<float>(pixel) == 4.0f) continue;
        FloodFill(componentMap, pixel.x, pixel.y, 0.0, 8);
        FloodFill(componentMap, pixel.x, pixel.y, 3.0, 8);
        FloodFill(work, pixel.x, pixel.y, 0.0, 8);
        FloodFill(work, pixel.x, pixel.y, 4.0, 8);
    }
    cv::Mat regions;
    cv::threshold(work, regions, 3.0, 1.0, cv::THRESH_BINARY);
    return regions;
}

void PlainEnclosedRegionAnalysis(cv::Mat& componentMap, const PlainComponentRecord& record, cv::Mat& candidateMap,
                                 float scale) {
    cv::Mat regions = PlainTouchedRegions(componentMap, record);

    const cv::Mat mask = regions > 0.0;
    cv::Mat distances;
    cv::distanceTransform(mask, distances, cv::DIST_L1, 3, CV_32F);
    double largestDistance = 0.0;
    cv::minMaxLoc(distances, nullptr, &largestDistance);

    PlainThinning(regions);
    cv::Mat& skeleton = regions;
    cv::Mat ends = cv::Mat::zeros(skeleton.size(), CV_32F);
    PlainBranchPruning(skeleton, ends, scale);
    PlainRegionFilling(skeleton, candidateMap, record);

    const int d = PlainTruncateToInt(largestDistance);
    // Without a touched region there is no element, and nothing is cleared.
    if (d == 0) return;
    DilateOnce(ends, ends, cv::MORPH_ELLIPSE, d);
    PlainMaskedReplacement(componentMap, ends, 3.0f, 0.0f);
}

}  // namespace korvane_reference
