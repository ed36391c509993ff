#include "ShapeMoments.h"

#include <algorithm>
#include <cmath>

#include <opencv2/imgproc.hpp>

#include "ClosedCurve.h"

namespace Korvane {

namespace {

constexpr double kPi = 3.141592653589793;

/// Calls visit(first, last, y) for the first and last pixel of the label of each row that has one.
template <typename Visit>
void ForEachRow(const qvox::LabelImage& labels, const LabelExtent& extent, Visit visit) {
    for (std::uint64_t y = extent.minY; y <= extent.maxY; ++y) {
        const std::uint16_t* const row = labels.Row(y);
        std::uint64_t first = extent.minX;
        while (first <= extent.maxX && row[first] != extent.label) ++first;
        if (first > extent.maxX) continue;
        std::uint64_t last = extent.maxX;
        while (row[last] != extent.label) --last;
        visit(first, last, y);
    }
}

/// Of a number 0 <= t <= 1. The angle is halved three times, after which a short series does.
double ArcTangent(double t) {
    constexpr int kHalvings = 3;
    for (int i = 0; i < kHalvings; ++i) t = t / (1.0 + std::sqrt(1.0 + t * t));
    constexpr int kLastPower = 17;
    const double square = t * t;
    double sum = 0.0;
    for (int power = kLastPower; power > 1; power -= 2) sum = square * (1.0 / power - sum);
    return 8.0 * t * (1.0 - sum);
}

double Distance(const CurvePoint& a, const CurvePoint& b) {
    return std::sqrt((a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y));
}

/// Largest distance of a corner from the line through two neighbouring ones.
double HeightOver(const ClosedCurve& hull, const CurvePoint& a, const CurvePoint& b) {
    double height = 0.0;
    for (const CurvePoint& p : hull) {
        height = std::max(height, std::fabs((b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x)));
    }
    return height / Distance(a, b);
}

}  // namespace

double AxisAngleDegrees(double x, double y) {
    if (y < 0.0 || (y == 0.0 && x < 0.0)) {
        x = -x;
        y = -y;
    }
    if (x == 0.0 && y == 0.0) return 0.0;
    const double width = std::fabs(x);
    double angle = 180.0 / kPi * ArcTangent(std::min(width, y) / std::max(width, y));
    if (y > width) angle = 90.0 - angle;
    if (x < 0.0) angle = 180.0 - angle;
    return angle < 180.0 ? angle : 0.0;
}

ShapeMoments MomentsOf(const qvox::LabelImage& labels, const LabelExtent& extent) {
    // Whole numbers, exact: offsets from the box's corner stay below 2^32, their squares' sums are taken in doubles row
    // by row, in raster order.
    double sumX = 0.0;
    double sumY = 0.0;
    double sumXX = 0.0;
    double sumXY = 0.0;
    double sumYY = 0.0;
    ForEachRow(labels, extent, [&](std::uint64_t first, std::uint64_t last, std::uint64_t y) {
        const std::uint16_t* const row = labels.Row(y);
        double count = 0.0;
        double xs = 0.0;
        double squares = 0.0;
        for (std::uint64_t x = first; x <= last; ++x) {
            if (row[x] != extent.label) continue;
            const double dx = static_cast<double>(x - extent.minX);
            count += 1.0;
            xs += dx;
            squares += dx * dx;
        }
        const double dy = static_cast<double>(y - extent.minY);
        sumX += xs;
        sumY += count * dy;
        sumXX += squares;
        sumXY += xs * dy;
        sumYY += count * dy * dy;
    });
    const double n = static_cast<double>(extent.pixels);
    const double meanX = sumX / n;
    const double meanY = sumY / n;
    const PixelScale scale = ScaleOf(labels.Resolution());
    constexpr double kOwnVariance = 1.0 / 12.0;  // of a pixel of width 1
    const double xx = (std::max(sumXX / n - meanX * meanX, 0.0) + kOwnVariance) * scale.widthNm * scale.widthNm;
    const double yy = (std::max(sumYY / n - meanY * meanY, 0.0) + kOwnVariance) * scale.heightNm * scale.heightNm;
    const double xy = (sumXY / n - meanX * meanY) * scale.widthNm * scale.heightNm;
    const double half = 0.5 * (xx - yy);
    const double root = std::sqrt(half * half + xy * xy);
    const double middle = 0.5 * (xx + yy);
    ShapeMoments moments;
    moments.xPx = static_cast<double>(extent.minX) + meanX;
    moments.yPx = static_cast<double>(extent.minY) + meanY;
    moments.majorNm = 4.0 * std::sqrt(middle + root);
    moments.minorNm = 4.0 * std::sqrt(std::max(middle - root, 0.0));
    // The axis along (root + half, xy) is the major one; y points down, the angle anticlockwise.
    moments.angleDegrees = half >= 0.0 ? AxisAngleDegrees(root + half, -xy) : AxisAngleDegrees(-xy, root - half);
    return moments;
}

HullMeasures HullOf(const qvox::LabelImage& labels, const LabelExtent& extent) {
    // In half pixels, so that the middles of sides are whole numbers, for which OpenCV's hull is exact.
    std::vector<cv::Point> points;
    ForEachRow(labels, extent, [&](std::uint64_t first, std::uint64_t last, std::uint64_t y) {
        const int left = 2 * static_cast<int>(first - extent.minX);
        const int right = 2 * static_cast<int>(last - extent.minX);
        const int middle = 2 * static_cast<int>(y - extent.minY);
        points.insert(points.end(), {{left - 1, middle}, {left, middle - 1}, {left, middle + 1}});
        points.insert(points.end(), {{right + 1, middle}, {right, middle - 1}, {right, middle + 1}});
    });
    std::vector<cv::Point> corners;
    cv::convexHull(points, corners);
    const PixelScale scale = ScaleOf(labels.Resolution());
    ClosedCurve hull;
    for (const cv::Point& p : corners) hull.push_back({0.5 * p.x * scale.widthNm, 0.5 * p.y * scale.heightNm});
    HullMeasures measures;
    measures.areaNm2 = std::fabs(SignedArea(hull));
    for (std::size_t i = 0; i < hull.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            measures.feretMaxNm = std::max(measures.feretMaxNm, Distance(hull[i], hull[j]));
        }
        const double height = HeightOver(hull, hull[i], hull[(i + 1) % hull.size()]);
        if (i == 0 || height < measures.feretMinNm) measures.feretMinNm = height;
    }
    return measures;
}

}  // namespace Korvane
