#include "operations/Shape.h"

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

namespace qvox {

namespace {

constexpr double kPi = 3.141592653589793;

/// Crossings between a component and what is not the component, per family of grid lines.
struct Crossings {
    std::uint64_t horizontal = 0;
    std::uint64_t vertical = 0;
    std::uint64_t falling = 0;  ///< towards the lower right
    std::uint64_t rising = 0;   ///< from the lower left
};

// The library's arctangent may differ in the last bit between processors and versions; this one uses nothing but
// correctly rounded operations. Three halvings of the angle, then the series.
double Arctangent(double tangent) {
    if (tangent > 1.0) return kPi / 2.0 - Arctangent(1.0 / tangent);
    double t = tangent;
    for (int halving = 0; halving < 3; ++halving) t /= 1.0 + std::sqrt(1.0 + t * t);
    const double square = t * t;
    double sum = 0.0;
    for (int power = 17; power >= 1; power -= 2) sum = 1.0 / power - square * sum;
    return 8.0 * t * sum;
}

double PixelSizeUm(float pixelsPerUm) {
    return std::isfinite(pixelsPerUm) && pixelsPerUm > 0.0f ? 1.0 / static_cast<double>(pixelsPerUm) : 1.0;
}

/// Turns counts into micrometres for one pixel size.
class PixelScale {
public:
    explicit PixelScale(const PixelResolution& resolution) {
        const double sizeX = PixelSizeUm(resolution.x);
        const double sizeY = PixelSizeUm(resolution.y);
        area_ = sizeX * sizeY;
        horizontal_ = Arctangent(sizeY / sizeX) / 2.0 * sizeY;
        vertical_ = Arctangent(sizeX / sizeY) / 2.0 * sizeX;
        diagonal_ = kPi / 8.0 * (area_ / std::sqrt(sizeX * sizeX + sizeY * sizeY));
    }
    double AreaUm2(std::uint64_t voxels) const { return static_cast<double>(voxels) * area_; }
    double PerimeterUm(const Crossings& crossings) const {
        return horizontal_ * static_cast<double>(crossings.horizontal) +
               vertical_ * static_cast<double>(crossings.vertical) +
               diagonal_ * static_cast<double>(crossings.falling + crossings.rising);
    }

private:
    double area_;
    double horizontal_;
    double vertical_;
    double diagonal_;
};

/// Counts the crossings of an image that is handed over row by row, for every value that occurs in it.
/// Rows are kept with a margin of zeros, which makes everything beyond the border outside.
class CrossingCounter {
public:
    CrossingCounter(std::uint64_t width, std::size_t values)
        : width_(width), counts_(values), above_(width + kMargin), below_(width + kMargin) {}

    /// The next row: `width` values, written to NextRow() beforehand.
    void Advance() {
        CountPairs();
        above_.swap(below_);
    }
    std::uint16_t* NextRow() { return below_.data() + 1; }
    /// After the last row: the crossings to the empty row below it.
    void Finish() {
        std::fill(below_.begin(), below_.end(), std::uint16_t{0});
        CountPairs();
    }
    const Crossings& Of(std::size_t value) const { return counts_[value]; }

private:
    static constexpr std::size_t kLanes = 8;
    static constexpr std::size_t kMargin = 1 + 2 * kLanes;

    static __m128i Load(const std::uint16_t* at) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at)); }
    static unsigned DifferingLanes(__m128i equal) {
        return ~static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(equal, equal))) & 0xFFu;
    }

    void Count(unsigned lanes, const std::uint16_t* a, const std::uint16_t* b, std::uint64_t Crossings::*family) {
        for (; lanes != 0; lanes &= lanes - 1) {
            const int lane = __builtin_ctz(lanes);
            ++(counts_[a[lane]].*family);
            ++(counts_[b[lane]].*family);
        }
    }

    // Position i stands for the four pairs of the square whose corners are a[i], a[i + 1], b[i], b[i + 1]: left side,
    // top side and both diagonals. Every pair of the padded image belongs to exactly one position.
    void CountPairs() {
        for (std::uint64_t i = 0; i <= width_; i += kLanes) {
            const std::uint16_t* a = above_.data() + i;
            const std::uint16_t* b = below_.data() + i;
            const __m128i upperLeft = Load(a);
            const __m128i upperRight = Load(a + 1);
            const __m128i lowerLeft = Load(b);
            const __m128i lowerRight = Load(b + 1);
            const __m128i top = _mm_cmpeq_epi16(upperLeft, upperRight);
            const __m128i left = _mm_cmpeq_epi16(upperLeft, lowerLeft);
            const __m128i falling = _mm_cmpeq_epi16(upperLeft, lowerRight);
            const __m128i rising = _mm_cmpeq_epi16(upperRight, lowerLeft);
            const __m128i same = _mm_and_si128(_mm_and_si128(top, left), _mm_and_si128(falling, rising));
            if (_mm_movemask_epi8(same) == 0xFFFF) continue;
            Count(DifferingLanes(top), a, a + 1, &Crossings::horizontal);
            Count(DifferingLanes(left), a, b, &Crossings::vertical);
            Count(DifferingLanes(falling), a, b + 1, &Crossings::falling);
            Count(DifferingLanes(rising), a + 1, b, &Crossings::rising);
        }
    }

    std::uint64_t width_;
    std::vector<Crossings> counts_;
    std::vector<std::uint16_t> above_;
    std::vector<std::uint16_t> below_;
};

Crossings CrossingsOf(const LabelImage& identifiers, const ComponentRecord& record) {
    const std::uint64_t width = record.maxX - record.minX + 1;
    CrossingCounter counter(width, 2);
    for (std::uint64_t y = record.minY; y <= record.maxY; ++y) {
        const std::uint16_t* row = identifiers.Row(y) + record.minX;
        std::uint16_t* next = counter.NextRow();
        for (std::uint64_t x = 0; x < width; ++x) next[x] = row[x] == record.identifier;
        counter.Advance();
    }
    counter.Finish();
    return counter.Of(1);
}

}  // namespace

double EstimateShape(const ComponentImage& components, std::uint16_t identifier, ShapeMeasure measure) {
    const ComponentRecord* record = components.Find(identifier);
    if (record == nullptr) {
        throw ToolkitError("EstimateShape: there is no component " + std::to_string(identifier) + ".");
    }
    const PixelScale scale(components.Identifiers().Resolution());
    switch (measure) {
        case ShapeMeasure::kPerimeter:
            return scale.PerimeterUm(CrossingsOf(components.Identifiers(), *record));
        case ShapeMeasure::kArea:
            return scale.AreaUm2(record->voxelCount);
    }
    throw ToolkitError("EstimateShape: there is no shape measure " + std::to_string(static_cast<int>(measure)) + ".");
}

std::vector<ShapeEstimate> EstimateShapes(const ComponentImage& components) {
    std::vector<ShapeEstimate> estimates;
    if (components.Components().empty()) return estimates;
    const LabelImage& identifiers = components.Identifiers();
    CrossingCounter counter(identifiers.SizeX(), 65536);
    for (std::uint64_t y = 0; y < identifiers.SizeY(); ++y) {
        std::copy_n(identifiers.Row(y), identifiers.SizeX(), counter.NextRow());
        counter.Advance();
    }
    counter.Finish();
    const PixelScale scale(identifiers.Resolution());
    estimates.reserve(components.Components().size());
    for (const ComponentRecord& record : components.Components()) {
        estimates.push_back(
            {record.identifier, scale.PerimeterUm(counter.Of(record.identifier)), scale.AreaUm2(record.voxelCount)});
    }
    return estimates;
}

double EquivalentDiameter(double area) { return std::sqrt(area * 4.0 / kPi); }

double Roundness(double area, double perimeter) { return 4.0 * kPi * area / (perimeter * perimeter); }

}  // namespace qvox
