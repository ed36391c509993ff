// Prints how well perimeter estimates measure digital discs, ellipses and squares: the figures of docs/MEASUREMENTS.md
// and docs/decisions/shape.md. The estimate that the toolkit ships is the first column; the others live here only.

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <random>
#include <vector>

#include "operations/Labelling.h"
#include "operations/Shape.h"
#include "reference/PlainShape.h"
#include "support/Random.h"
#include "support/Shapes.h"

namespace {

using korvane_test::kPi;
using korvane_test::Placement;
using qvox::LabelImage;

constexpr int kPlacements = 200;

/// Freeman's chain code of the outer boundary of the only object, through voxel centres; direction 0 is +x, then
/// anticlockwise in steps of 45 degrees.
std::vector<int> ChainCode(const LabelImage& labels) {
    constexpr int kDx[] = {1, 1, 0, -1, -1, -1, 0, 1};
    constexpr int kDy[] = {0, -1, -1, -1, 0, 1, 1, 1};
    const auto inside = [&](std::int64_t x, std::int64_t y) {
        return x >= 0 && y >= 0 && x < static_cast<std::int64_t>(labels.SizeX()) &&
               y < static_cast<std::int64_t>(labels.SizeY()) &&
               labels(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) != 0;
    };
    std::uint64_t start = 0;
    while (labels[start] == 0) ++start;
    const auto startX = static_cast<std::int64_t>(labels.Coordinates(start)[0]);
    const auto startY = static_cast<std::int64_t>(labels.Coordinates(start)[1]);
    std::int64_t x = startX;
    std::int64_t y = startY;
    int direction = 7;
    std::vector<int> chain;
    while (true) {
        const int first = (direction % 2 == 0 ? direction + 7 : direction + 6) % 8;
        int turn = 0;
        while (turn < 8 && !inside(x + kDx[(first + turn) % 8], y + kDy[(first + turn) % 8])) ++turn;
        if (turn == 8) return chain;
        direction = (first + turn) % 8;
        if (!chain.empty() && x == startX && y == startY && direction == chain.front()) return chain;
        chain.push_back(direction);
        x += kDx[direction];
        y += kDy[direction];
    }
}

/// The corner-corrected chain code length of Vossepoel and Smeulders (1982).
double ChainLength(const LabelImage& labels) {
    const std::vector<int> chain = ChainCode(labels);
    int even = 0;
    int odd = 0;
    int corners = 0;
    for (std::size_t i = 0; i < chain.size(); ++i) {
        ++(chain[i] % 2 == 0 ? even : odd);
        corners += chain[i] != chain[(i + 1) % chain.size()];
    }
    return 0.980 * even + 1.406 * odd - 0.091 * corners;
}

struct Measured {
    double area;
    std::array<double, 4> perimeters;  ///< four directions, eight directions, chain code, chain code + pi
};

Measured Measure(LabelImage shape, double aspect) {
    shape.SetResolution({1.0f, static_cast<float>(1.0 / aspect), 0.0f});
    qvox::ComponentImage components;
    qvox::LabelForegroundRegions(components, shape, qvox::Neighbourhood8{});
    const qvox::ShapeEstimate shipped = qvox::EstimateShapes(components).front();
    const double eight =
        korvane_reference::PlainCrofton(components.Identifiers(), 1, 1.0, aspect, korvane_reference::EightDirections());
    const double chain = ChainLength(shape);
    return {shipped.areaUm2, {shipped.perimeterUm, eight, chain, chain + kPi}};
}

struct Row {
    double mean = 0.0;
    double deviation = 0.0;
    double worst = 0.0;
};

Row Summary(const std::vector<double>& values) {
    Row row;
    for (const double v : values) row.mean += v / static_cast<double>(values.size());
    for (const double v : values) {
        row.deviation += (v - row.mean) * (v - row.mean) / static_cast<double>(values.size() - 1);
        row.worst = std::fmax(row.worst, std::fabs(v - 1.0));
    }
    row.deviation = std::sqrt(row.deviation);
    return row;
}

void Print(const char* shape, double size, const std::array<std::vector<double>, 4>& values, std::size_t columns) {
    std::printf("%-22s %5.1f", shape, size);
    for (std::size_t i = 0; i < columns; ++i) {
        const Row row = Summary(values[i]);
        std::printf("  | %.4f %.4f %.4f", row.mean, row.deviation, row.worst);
    }
    std::printf("\n");
}

void Discs(double aspect, std::mt19937& random) {
    char name[32];
    std::snprintf(name, sizeof name, "disc, pixels 1 : %.1f", aspect);
    for (const double radius : {6.0, 8.0, 10.0, 12.0, 15.0, 20.0, 30.0, 40.0, 60.0, 80.0}) {
        std::array<std::vector<double>, 4> roundness;
        for (int i = 0; i < kPlacements; ++i) {
            const Placement place{radius + 2.0 + korvane_test::UniformDouble(random), radius / aspect + 2.0 + korvane_test::UniformDouble(random), 0.0};
            const Measured m = Measure(
                korvane_test::DigitalEllipse(2.0 * radius + 6.0 * aspect, aspect, place, radius, radius), aspect);
            for (std::size_t k = 0; k < 4; ++k) {
                roundness[k].push_back(4.0 * kPi * m.area / (m.perimeters[k] * m.perimeters[k]));
            }
        }
        Print(name, radius, roundness, aspect == 1.0 ? 4 : 2);  // the chain code knows square pixels only
    }
}

template <typename Draw>
void Outlines(const char* name, double size, double imageSize, double truth, std::mt19937& random, Draw draw) {
    std::array<std::vector<double>, 4> ratios;
    for (int i = 0; i < kPlacements; ++i) {
        const Placement place{imageSize / 2.0 + korvane_test::UniformDouble(random), imageSize / 2.0 + korvane_test::UniformDouble(random), kPi * korvane_test::UniformDouble(random)};
        const Measured m = Measure(draw(imageSize, place), 1.0);
        for (std::size_t k = 0; k < 4; ++k) ratios[k].push_back(m.perimeters[k] / truth);
    }
    Print(name, size, ratios, 4);
}

}  // namespace

int main() {
    std::mt19937 random(1);
    std::printf("Per estimate: mean, standard deviation, largest distance from 1; %d placements a row.\n", kPlacements);
    std::printf("Discs: roundness 4 pi A / P^2. Others: perimeter / true perimeter.\n");
    std::printf("%-22s %5s  | %-20s  | %-20s  | %-20s  | %s\n", "shape", "px", "Crofton, 4 (shipped)", "Crofton, 8",
                "chain code", "chain code + pi");
    for (const double aspect : {1.0, 1.5, 2.0}) Discs(aspect, random);
    for (const double ratio : {1.5, 2.0, 3.0}) {
        char name[32];
        std::snprintf(name, sizeof name, "ellipse %.1f : 1", ratio);
        for (const double half : {6.0, 10.0, 20.0, 30.0}) {
            Outlines(name, half, 2.0 * ratio * half + 6.0, korvane_test::EllipsePerimeter(ratio * half, half), random,
                     [=](double size, const Placement& place) {
                         return korvane_test::DigitalEllipse(size, 1.0, place, ratio * half, half);
                     });
        }
    }
    for (const double side : {12.0, 20.0, 40.0, 80.0}) {
        Outlines(
            "square, rotated", side, 1.5 * side + 6.0, 4.0 * side, random,
            [=](double size, const Placement& place) { return korvane_test::DigitalSquare(size, 1.0, place, side); });
    }
}
