#include "reference/PlainSkeleton.h"

#include <algorithm>
#include <array>
#include <deque>
#include <map>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "reference/PlainCandidateFilter.h"
#include "reference/PlainTruncation.h"

namespace korvane_reference {

namespace {

constexpr float kOutside = 2147483648.0f;

bool IsMarked(const cv::Mat& image, int y, int x, int subiteration) {
    const auto at = [&](int dy, int dx) { return image.at<uchar>(y + dy, x + dx) != 0; };
    const bool p2 = at(-1, 0);
    const bool p3 = at(-1, 1);
    const bool p4 = at(0, 1);
    const bool p5 = at(1, 1);
    const bool p6 = at(1, 0);
    const bool p7 = at(1, -1);
    const bool p8 = at(0, -1);
    const bool p9 = at(-1, -1);
    const int crossings =
        int(!p2 && (p3 || p4)) + int(!p4 && (p5 || p6)) + int(!p6 && (p7 || p8)) + int(!p8 && (p9 || p2));
    const int n1 = int(p9 || p2) + int(p3 || p4) + int(p5 || p6) + int(p7 || p8);
    const int n2 = int(p2 || p3) + int(p4 || p5) + int(p6 || p7) + int(p8 || p9);
    const int n = std::min(n1, n2);
    const bool m = subiteration == 0 ? (p6 || p7 || !p9) && p8 : (p2 || p3 || !p5) && p4;
    return crossings == 1 && n >= 2 && n <= 3 && !m;
}

void ThinOnce(cv::Mat& image, int subiteration) {
    cv::Mat marks = cv::Mat::zeros(image.size(), CV_8U);
    for (int y = 1; y <= image.rows - 2; ++y) {
        for (int x = 1; x <= image.cols - 2; ++x) {
            if (IsMarked(image, y, x, subiteration)) marks.at<uchar>(y, x) = 255;
        }
    }
    cv::bitwise_and(image, ~marks, image);
}

/// The nine values around and at a pixel, row by row; the sentinel outside the map.
cv::Mat Neighbourhood(const cv::Mat& map, cv::Point centre) {
    cv::Mat values(3, 3, CV_32F);
    for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx) {
            const cv::Point at(centre.x + dx, centre.y + dy);
            const bool inside = at.x >= 0 && at.y >= 0 && at.x < map.cols && at.y < map.rows;
            values.at<float>(1 + dy, 1 + dx) = inside ? map.at<float>(at) : kOutside;
        }
    }
    return values;
}

bool IsBranchEnd(const cv::Mat& skeleton, cv::Point pixel) {
    if (skeleton.at<float>(pixel) != 1.0f) return false;
    const cv::Mat values = Neighbourhood(skeleton, pixel);
    int ones = 0;
    for (int i = 0; i < 9; ++i) {
        if (i == 4) continue;
        const float value = values.at<float>(i / 3, i % 3);
        if (value == kOutside) return false;
        if (value == 1.0f) ++ones;
    }
    return ones == 1;
}

/// How many things surround the pixel; the pixel itself is not one of them.
std::size_t ThingsAround(const cv::Mat& skeleton, cv::Point pixel) {
    cv::Mat patch = Neighbourhood(skeleton, pixel);
    patch.at<float>(1, 1) = 0.0f;
    cv::threshold(patch, patch, 0.0, 1.0, cv::THRESH_BINARY);
    return PlainEnumerateRegions(patch).regions.size();
}

std::vector<cv::Point> NeighboursOfOne(const cv::Mat& skeleton, cv::Point pixel) {
    const cv::Mat values = Neighbourhood(skeleton, pixel);
    std::vector<cv::Point> found;
    for (int i = 0; i < 9; ++i) {
        if (i != 4 && values.at<float>(i / 3, i % 3) == 1.0f)
            found.emplace_back(pixel.x + i % 3 - 1, pixel.y + i / 3 - 1);
    }
    return found;
}

struct Branches {
    std::deque<cv::Point> queue;
    std::map<int, cv::Point> endOf;
    std::map<int, int> countOf;
    int lastNumber = 1;
};

Branches FindBranchEnds(const cv::Mat& skeleton) {
    Branches branches;
    for (int y = 0; y < skeleton.rows; ++y) {
        for (int x = 0; x < skeleton.cols; ++x) {
            const cv::Point pixel(x, y);
            if (!IsBranchEnd(skeleton, pixel)) continue;
            ++branches.lastNumber;
            branches.queue.push_back(pixel);
            branches.endOf[branches.lastNumber] = pixel;
            branches.countOf[branches.lastNumber] = 0;
        }
    }
    return branches;
}

}  // namespace

void PlainThinning(cv::Mat& regions) {
    cv::Mat padded;
    cv::copyMakeBorder(regions, padded, 1, 1, 1, 1, cv::BORDER_CONSTANT, cv::Scalar(1.0));
    cv::Mat image;
    padded.convertTo(image, CV_8U, 1.0, 0.0);
    cv::Mat difference;
    do {
        const cv::Mat before = image.clone();
        ThinOnce(image, 0);
        ThinOnce(image, 1);
        cv::absdiff(image, before, difference);
    } while (cv::countNonZero(difference) > 0);
    image(cv::Rect(1, 1, regions.cols, regions.rows)).convertTo(regions, CV_32F, 1.0, 0.0);
}

void PlainBranchPruning(cv::Mat& skeleton, cv::Mat& ends, float scale) {
    Branches branches = FindBranchEnds(skeleton);
    int current = branches.lastNumber;
    while (!branches.queue.empty()) {
        const cv::Point pixel = branches.queue.back();
        branches.queue.pop_back();
        skeleton.at<float>(pixel) = 0.0f;
        ++branches.countOf[current];
        bool goesOn = false;
        for (const cv::Point& neighbour : NeighboursOfOne(skeleton, pixel)) {
            if (ThingsAround(skeleton, neighbour) != 1) continue;
            branches.queue.push_back(neighbour);
            goesOn = true;
        }
        if (!goesOn) --current;
    }
    const int limit = PlainTruncateToInt(static_cast<double>(15.0f * scale));
    for (const auto& [number, count] : branches.countOf) {
        // A number without a recorded end stands for the default position, column 0 of row 0.
        if (count > limit) ends.at<float>(branches.endOf[number]) = 1.0f;
    }
}

}  // namespace korvane_reference
