#include "ClosedCurve.h"

#include <cmath>
#include <cstddef>

#include "operations/GaussianWeights.h"

namespace Korvane {

double SignedArea(const ClosedCurve& curve) {
    double twice = 0.0;
    for (std::size_t i = 0; i < curve.size(); ++i) {
        const CurvePoint& a = curve[i];
        const CurvePoint& b = curve[(i + 1) % curve.size()];
        twice += a.x * b.y - b.x * a.y;
    }
    return 0.5 * twice;
}

CurvePoint MeanCorner(const ClosedCurve& curve) {
    CurvePoint sum;
    for (const CurvePoint& point : curve) {
        sum.x += point.x;
        sum.y += point.y;
    }
    const double count = static_cast<double>(curve.size());
    return {sum.x / count, sum.y / count};
}

ClosedCurve Resampled(const ClosedCurve& curve, int points) {
    std::vector<double> reached(curve.size() + 1, 0.0);
    for (std::size_t i = 0; i < curve.size(); ++i) {
        const CurvePoint& next = curve[(i + 1) % curve.size()];
        const double dx = next.x - curve[i].x;
        const double dy = next.y - curve[i].y;
        reached[i + 1] = reached[i] + std::sqrt(dx * dx + dy * dy);
    }
    ClosedCurve sampled;
    std::size_t side = 0;
    for (int k = 0; k < points; ++k) {
        const double place = reached.back() * k / points;
        while (side + 1 < curve.size() && reached[side + 1] <= place) ++side;
        const double length = reached[side + 1] - reached[side];
        const double part = length > 0.0 ? (place - reached[side]) / length : 0.0;
        const CurvePoint& from = curve[side];
        const CurvePoint& to = curve[(side + 1) % curve.size()];
        sampled.push_back({from.x + part * (to.x - from.x), from.y + part * (to.y - from.y)});
    }
    return sampled;
}

ClosedCurve Smoothed(const ClosedCurve& curve, double sigmaCorners, double area) {
    const auto radius = static_cast<std::size_t>(std::ceil(3.0 * sigmaCorners));
    const std::vector<float> weights = qvox::GaussianWeights(sigmaCorners, radius);
    const std::size_t count = curve.size();
    ClosedCurve smooth(count);
    for (std::size_t i = 0; i < count; ++i) {
        CurvePoint sum{curve[i].x * static_cast<double>(weights[0]), curve[i].y * static_cast<double>(weights[0])};
        for (std::size_t k = 1; k <= radius; ++k) {
            const CurvePoint& before = curve[(i + (count - k % count)) % count];
            const CurvePoint& after = curve[(i + k) % count];
            sum.x += static_cast<double>(weights[k]) * (before.x + after.x);
            sum.y += static_cast<double>(weights[k]) * (before.y + after.y);
        }
        smooth[i] = sum;
    }
    const double has = std::fabs(SignedArea(smooth));
    if (!(has > 0.0)) return smooth;
    const double factor = std::sqrt(area / has);
    const CurvePoint centre = MeanCorner(smooth);
    for (CurvePoint& point : smooth) {
        point.x = centre.x + factor * (point.x - centre.x);
        point.y = centre.y + factor * (point.y - centre.y);
    }
    return smooth;
}

std::vector<CurvePoint> OutwardNormals(const ClosedCurve& curve) {
    const double sign = SignedArea(curve) >= 0.0 ? 1.0 : -1.0;
    const std::size_t count = curve.size();
    std::vector<CurvePoint> normals(count);
    for (std::size_t i = 0; i < count; ++i) {
        const CurvePoint& before = curve[(i + count - 1) % count];
        const CurvePoint& after = curve[(i + 1) % count];
        const double dx = after.x - before.x;
        const double dy = after.y - before.y;
        const double length = std::sqrt(dx * dx + dy * dy);
        if (length > 0.0) normals[i] = {sign * dy / length, -sign * dx / length};
    }
    return normals;
}

}  // namespace Korvane
