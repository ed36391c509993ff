// Prints how well the further measures of docs/MEASUREMENTS.md measure digital discs, ellipses and squares against
// their analytic values: the table there under "Accuracy of the further measures".

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "ObjectMeasures.h"
#include "operations/Shape.h"
#include "support/Random.h"
#include "support/Shapes.h"

namespace {

using Korvane::ObjectMeasures;
using korvane_test::kPi;
using korvane_test::Placement;

constexpr int kPlacements = 200;

/// Lengths in pixel widths; the radius or half width is `size`, and that of an ellipse the smaller one.
struct Shape {
    const char* name;
    double aspect;  ///< height of a pixel in widths
    std::function<qvox::LabelImage(double image, const Placement& place, double size)> draw;
    double halfLength;  ///< of the longest chord, per size
    double feretMin;    ///< per size
    double major;       ///< axes of the ellipse of the same moments, per size
    double minor;
    double area;  ///< per size squared
};

struct Column {
    const char* name;
    std::function<double(const ObjectMeasures&)> value;
    std::function<double(const Shape&, double size)> truth;
};

const std::vector<Column>& Columns() {
    static const std::vector<Column> columns{
        {"diameter", [](const ObjectMeasures& o) { return qvox::EquivalentDiameter(o.areaNm2); },
         [](const Shape& s, double size) { return 2.0 * size * std::sqrt(s.area / kPi); }},
        {"Feret max", [](const ObjectMeasures& o) { return o.hull.feretMaxNm; },
         [](const Shape& s, double size) { return 2.0 * s.halfLength * size; }},
        {"Feret min", [](const ObjectMeasures& o) { return o.hull.feretMinNm; },
         [](const Shape& s, double size) { return s.feretMin * size; }},
        {"major axis", [](const ObjectMeasures& o) { return o.moments.majorNm; },
         [](const Shape& s, double size) { return s.major * size; }},
        {"minor axis", [](const ObjectMeasures& o) { return o.moments.minorNm; },
         [](const Shape& s, double size) { return s.minor * size; }},
        {"solidity", [](const ObjectMeasures& o) { return std::min(1.0, o.areaNm2 / o.hull.areaNm2); },
         [](const Shape&, double) { return 1.0; }},
    };
    return columns;
}

std::vector<Shape> Shapes() {
    using korvane_test::DigitalEllipse;
    using korvane_test::DigitalSquare;
    const auto disc = [](double aspect) {
        return [aspect](double image, const Placement& p, double r) { return DigitalEllipse(image, aspect, p, r, r); };
    };
    const auto ellipse = [](double image, const Placement& p, double b) {
        return DigitalEllipse(image, 1.0, p, 2.0 * b, b);
    };
    const auto square = [](double image, const Placement& p, double a) {
        return DigitalSquare(image, 1.0, p, 2.0 * a);
    };
    const double sideOfMoments = 4.0 / std::sqrt(3.0);
    return {{"disc", 1.0, disc(1.0), 1.0, 2.0, 2.0, 2.0, kPi},
            {"disc, pixels 1 : 1.5", 1.5, disc(1.5), 1.0, 2.0, 2.0, 2.0, kPi},
            {"ellipse 2 : 1", 1.0, ellipse, 2.0, 2.0, 4.0, 2.0, 2.0 * kPi},
            {"square", 1.0, square, std::sqrt(2.0), 2.0, sideOfMoments, sideOfMoments, 4.0}};
}

ObjectMeasures Measure(const Shape& shape, double size, std::mt19937& random) {
    const double image = 4.0 * size + 8.0 * shape.aspect;
    const auto middle = [&](double extent) { return extent / 2.0 + korvane_test::UniformDouble(random) - 0.5; };
    const double x = middle(image);
    const double y = middle(image / shape.aspect);
    qvox::LabelImage labels = shape.draw(image, {x, y, kPi * korvane_test::UniformDouble(random)}, size);
    labels.SetResolution({1000.0f, static_cast<float>(1000.0 / shape.aspect), 0.0f});
    qvox::VoxelImage<float> grey;
    grey.Resize(labels.SizeX(), labels.SizeY(), 1);
    grey.Zero();
    return Korvane::MeasureEverything(grey, labels).at(0);
}

/// "+0.12 (0.34)": mean error and the 95th percentile of the absolute ones, in %.
std::string ErrorText(std::vector<double> percent) {
    double mean = 0.0;
    for (const double e : percent) mean += e / static_cast<double>(percent.size());
    for (double& e : percent) e = std::fabs(e);
    std::sort(percent.begin(), percent.end());
    char text[64];
    std::snprintf(text, sizeof text, "%+.2f (%.2f)", mean, percent[percent.size() * 95 / 100]);
    return text;
}

}  // namespace

int main() {
    std::mt19937 random(2);
    std::printf("| shape | size, px |");
    for (const Column& column : Columns()) std::printf(" %s |", column.name);
    std::printf("\n|---|---|");
    for (std::size_t i = 0; i < Columns().size(); ++i) std::printf("---|");
    std::printf("\n");
    for (const Shape& shape : Shapes()) {
        for (const double size : {6.0, 12.0, 25.0, 50.0}) {
            std::vector<std::vector<double>> errors(Columns().size());
            for (int i = 0; i < kPlacements; ++i) {
                const ObjectMeasures object = Measure(shape, size, random);
                for (std::size_t c = 0; c < errors.size(); ++c) {
                    const Column& column = Columns()[c];
                    errors[c].push_back(100.0 * (column.value(object) / column.truth(shape, size) - 1.0));
                }
            }
            std::printf("| %s | %.0f |", shape.name, size);
            for (const std::vector<double>& column : errors) std::printf(" %s |", ErrorText(column).c_str());
            std::printf("\n");
        }
    }
}
