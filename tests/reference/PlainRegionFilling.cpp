#include "reference/PlainRegionFilling.h"

#include <opencv2/imgproc.hpp>

#include "reference/PlainMaskedOperations.h"

namespace korvane_reference {

namespace {

void ClearOpenArea(cv::Mat& inverse, int x, int y) {
    if (!(inverse.at<float>(y, x) > 0.0f)) return;
    cv::floodFill(inverse, cv::Point(x, y), cv::Scalar(0.0), nullptr, cv::Scalar(0.1), cv::Scalar(0.1), 4);
}

void FillHoles(cv::Mat& filled) {
    cv::threshold(filled, filled, 0.5, 1.0, cv::THRESH_BINARY);
    cv::Mat inverse = 1.0 - filled;
    for (int y = 1; y <= inverse.rows - 2; ++y) {
        ClearOpenArea(inverse, 0, y);
        ClearOpenArea(inverse, inverse.cols - 1, y);
    }
    for (int x = 0; x < inverse.cols; ++x) {
        ClearOpenArea(inverse, x, 0);
        ClearOpenArea(inverse, x, inverse.rows - 1);
    }
    const cv::Mat& holes = inverse;
    cv::max(filled, holes, filled);  // the "or" of two maps of 0.0 and 1.0
}

}  // namespace

void PlainRegionFilling(cv::Mat& skeleton, cv::Mat& candidateMap, const PlainComponentRecord& record) {
    cv::floodFill(skeleton, cv::Point(record.seedX, record.seedY), cv::Scalar(4.0), nullptr, cv::Scalar(0.0),
                  cv::Scalar(0.0), 4);
    cv::threshold(skeleton, skeleton, 3.0, 1.0, cv::THRESH_BINARY);
    cv::Mat& filled = skeleton;
    FillHoles(filled);

    cv::Mat ring;
    const cv::Mat element = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(3, 3));
    cv::dilate(filled, ring, element, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT, cv::morphologyDefaultBorderValue());
    cv::subtract(ring, filled, ring);

    PlainMaskedReplacement(candidateMap, filled, 0.0f, 2.0f);
    PlainMaskedAssignment(candidateMap, ring, 3.0f);
}

}  // namespace korvane_reference
