#pragma once

#include <cmath>
#include <cstdint>

#include "VoxelImage.h"

namespace korvane_test {

constexpr double kPi = 3.141592653589793;

/// A shape with its centre and orientation in voxels; a voxel belongs to it when its own centre does.
struct Placement {
    double centreX = 0.0;
    double centreY = 0.0;
    double angle = 0.0;  ///< radians
};

/// Label 1 where inside(u, v) holds, with u and v the coordinates along the shape's own axes, in units of voxel widths;
/// a voxel is `aspect` times as high as it is wide. The image is `size` voxel widths wide and high.
template <typename Inside>
qvox::LabelImage DigitalShape(double size, double aspect, const Placement& place, Inside inside) {
    qvox::LabelImage labels;
    labels.Resize(static_cast<std::uint64_t>(std::ceil(size)), static_cast<std::uint64_t>(std::ceil(size / aspect)), 1);
    const double c = std::cos(place.angle);
    const double s = std::sin(place.angle);
    for (std::uint64_t y = 0; y < labels.SizeY(); ++y) {
        for (std::uint64_t x = 0; x < labels.SizeX(); ++x) {
            const double dx = static_cast<double>(x) - place.centreX;
            const double dy = (static_cast<double>(y) - place.centreY) * aspect;
            labels(x, y) = inside(dx * c + dy * s, dy * c - dx * s) ? 1 : 0;
        }
    }
    return labels;
}

inline qvox::LabelImage DigitalEllipse(double size, double aspect, const Placement& place, double halfU, double halfV) {
    return DigitalShape(size, aspect, place,
                        [=](double u, double v) { return u * u / (halfU * halfU) + v * v / (halfV * halfV) <= 1.0; });
}

inline qvox::LabelImage DigitalSquare(double size, double aspect, const Placement& place, double side) {
    return DigitalShape(size, aspect, place,
                        [=](double u, double v) { return std::fabs(u) <= side / 2.0 && std::fabs(v) <= side / 2.0; });
}

/// Length of an ellipse's outline, by summing short chords.
inline double EllipsePerimeter(double halfU, double halfV) {
    constexpr int kChords = 20000;
    double sum = 0.0;
    for (int i = 0; i < kChords; ++i) {
        const double a = (i + 0.5) / kChords * 2.0 * kPi;
        sum += std::hypot(halfU * std::sin(a), halfV * std::cos(a)) * 2.0 * kPi / kChords;
    }
    return sum;
}

}  // namespace korvane_test
