#include "reference/PlainCandidateFilter.h"

#include <algorithm>
#include <cmath>

#include <opencv2/imgproc.hpp>

#include "reference/PlainTruncation.h"

namespace korvane_reference {

namespace {

int OpeningSize(int area, float scale, float areaFraction) {
    const double radius = std::sqrt(static_cast<double>(area)) / static_cast<double>(1.7724f);
    const int byArea = 2 * PlainTruncateToInt(std::floor(radius * static_cast<double>(areaFraction)));
    const int byScale = PlainTruncateToInt(static_cast<double>(std::floor(11.0f * scale)));
    const int size = std::max(byArea, byScale);
    return size % 2 == 0 ? size + 1 : size;
}

cv::Mat Opened(const cv::Mat& mask, int size) {
    const cv::Mat element = cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(size, size));
    cv::Mat opened;
    cv::erode(mask, opened, element, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT, cv::morphologyDefaultBorderValue());
    cv::dilate(opened, opened, element, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT, cv::morphologyDefaultBorderValue());
    return opened;
}

}  // namespace

PlainRegionEnumeration PlainEnumerateRegions(cv::Mat& map) {
    PlainRegionEnumeration found;
    if (map.rows == 0) return found;
    double minimum = 0.0;
    double maximum = 0.0;
    cv::minMaxLoc(map, &minimum, &maximum);
    if (!(maximum == 1.0 && minimum == 0.0)) cv::threshold(map, map, 0.1, 1.0, cv::THRESH_BINARY);
    found.image = map.clone();
    int next = 2;
    for (int y = 0; y < found.image.rows; ++y) {
        for (int x = 0; x < found.image.cols; ++x) {
            const float value = found.image.at<float>(y, x);
            if (value == 0.0f) continue;
            if (value != 1.0f && value < static_cast<float>(next)) continue;
            const int area = cv::floodFill(found.image, cv::Point(x, y), cv::Scalar(next), nullptr, cv::Scalar(0.0),
                                           cv::Scalar(0.0), 8);
            found.regions.push_back({area, next});
            ++next;
        }
    }
    return found;
}

void PlainFilterCandidates(const cv::Mat& candidateMask, cv::Mat& filtered, float scale, float areaFraction) {
    cv::Mat binary = candidateMask.clone();
    const PlainRegionEnumeration found = PlainEnumerateRegions(binary);
    for (const PlainRegion& region : found.regions) {
        if (static_cast<float>(region.area) > 50000.0f * scale) continue;
        const cv::Mat mask = found.image == static_cast<double>(region.label);
        const cv::Mat opened = Opened(mask, OpeningSize(region.area, scale, areaFraction));
        const int count = cv::countNonZero(opened);
        if (static_cast<float>(count) >= 0.9f * static_cast<float>(region.area) && count >= 1) {
            cv::bitwise_or(filtered, mask, filtered);
        }
    }
}

}  // namespace korvane_reference
