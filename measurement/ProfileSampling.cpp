#include "ProfileSampling.h"

#include <algorithm>
#include <cmath>

#include <opencv2/imgproc.hpp>

#include "operations/GaussianWeights.h"

namespace Korvane {

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kSmallestRadius = 3.0;
// Label outlines follow a strongly smoothed image: bites and corners narrower than this share of the outline are not
// the object's.
constexpr double kOutlineSigma = kProfileDirections / 24.0;
// Neighbouring directions that are pooled: some nine of 64 carry the weight.
constexpr double kPoolingSigma = kProfileDirections / 28.0;
// Labels lie up to a third of the radius inside of a stained rim, or on its outer flank. Small objects need room for
// the rim and the background beside it, whatever their radius.
constexpr double kInwards = 0.45;
constexpr double kOutwards = 0.7;
constexpr double kLeastOutwards = 12.0;
// Half a pixel and a pixel for objects of up to 30 and 40 pixels radius; the larger ones are seen in the same number of
// samples.
constexpr double kSmallestStep = 0.5;
constexpr double kRadiusPerStep = 60.0;
constexpr double kSmallestSmoothing = 1.0;
constexpr double kRadiusPerSmoothing = 40.0;

struct Piece {
    ClosedCurve boundary;  ///< through pixel centres
    double pixels = 0.0;
};

/// The piece of the label with the longest boundary.
Piece LargestPiece(const qvox::LabelImage& labels, const LabelExtent& extent) {
    const int width = static_cast<int>(extent.maxX - extent.minX) + 3;
    const int height = static_cast<int>(extent.maxY - extent.minY) + 3;
    cv::Mat mask(height, width, CV_8U, cv::Scalar(0));
    for (std::uint64_t y = extent.minY; y <= extent.maxY; ++y) {
        const std::uint16_t* const row = labels.Row(y);
        auto* const out = mask.ptr<std::uint8_t>(static_cast<int>(y - extent.minY) + 1) + 1;
        for (std::uint64_t x = extent.minX; x <= extent.maxX; ++x)
            out[x - extent.minX] = row[x] == extent.label ? 1 : 0;
    }
    std::vector<std::vector<cv::Point>> contours;
    cv::findContours(mask, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
    const auto longest = std::max_element(contours.begin(), contours.end(),
                                          [](const auto& a, const auto& b) { return a.size() < b.size(); });
    Piece piece;
    for (const cv::Point& point : *longest) {
        piece.boundary.push_back(
            {static_cast<double>(extent.minX) + point.x - 1.0, static_cast<double>(extent.minY) + point.y - 1.0});
    }
    // Pick's theorem: pixels inside and on the boundary.
    const double steps = static_cast<double>(piece.boundary.size());
    piece.pixels = steps < 2.0 ? 1.0 : std::fabs(SignedArea(piece.boundary)) + steps / 2.0 + 1.0;
    return piece;
}

/// The pixels that profiles may cross, with the scale between units and pixels.
class Field {
public:
    Field(const qvox::VoxelImage<float>& image, const qvox::LabelImage& labels,
          const qvox::VoxelImage<std::uint8_t>* excluded, const ImagePart& part, std::uint16_t label)
        : grey_(image.begin()),
          label_(labels.begin()),
          excluded_(excluded != nullptr ? excluded->begin() : nullptr),
          width_(static_cast<std::int64_t>(image.SizeX())),
          own_(label),
          firstX_(static_cast<double>(part.x)),
          firstY_(static_cast<double>(part.y)),
          lastX_(static_cast<double>(part.x + part.width) - 1.0),
          lastY_(static_cast<double>(part.y + part.height) - 1.0) {}

    /// Bilinear grey level; false where there is nothing to be seen.
    bool Sample(double x, double y, float& grey) const {
        if (!(x >= firstX_ && y >= firstY_ && x <= lastX_ && y <= lastY_)) return false;
        const auto left = static_cast<std::int64_t>(x);
        const auto top = static_cast<std::int64_t>(y);
        const auto partX = static_cast<float>(x - static_cast<double>(left));
        const auto partY = static_cast<float>(y - static_cast<double>(top));
        const std::int64_t corner = top * width_ + left;
        const std::int64_t nearest = corner + (partX >= 0.5f ? 1 : 0) + (partY >= 0.5f ? width_ : 0);
        const std::uint16_t found = label_[nearest];
        if (found != 0 && found != own_) return false;
        if (excluded_ != nullptr && excluded_[nearest] != 0) return false;
        // On the last column and row the neighbour beyond has no weight.
        const std::int64_t right = partX > 0.0f ? 1 : 0;
        const float* const upper = grey_ + corner;
        const float* const lower = upper + (partY > 0.0f ? width_ : 0);
        const float above = upper[0] + partX * (upper[right] - upper[0]);
        const float below = lower[0] + partX * (lower[right] - lower[0]);
        grey = above + partY * (below - above);
        return std::isfinite(grey);
    }

private:
    const float* grey_;
    const std::uint16_t* label_;
    const std::uint8_t* excluded_;
    std::int64_t width_;
    std::uint16_t own_;
    double firstX_;
    double firstY_;
    double lastX_;
    double lastY_;
};

void SampleRays(const Field& field, const PixelScale& scale, ProfileSet& set) {
    const double toX = scale.UnitNm() / scale.widthNm;
    const double toY = scale.UnitNm() / scale.heightNm;
    for (std::size_t i = 0; i < kProfileDirections; ++i) {
        float* const grey = set.grey.data() + i * set.length;
        std::uint8_t* const isSeen = set.isSeen.data() + i * set.length;
        const auto see = [&](std::size_t k) {
            const double place = set.Place(k);
            isSeen[k] = field.Sample((set.outline[i].x + place * set.normals[i].x) * toX,
                                     (set.outline[i].y + place * set.normals[i].y) * toY, grey[k])
                            ? 1
                            : 0;
            if (isSeen[k] == 0) grey[k] = 0.0f;
            return isSeen[k] != 0;
        };
        if (set.normals[i].x == 0.0 && set.normals[i].y == 0.0) continue;
        for (std::size_t k = set.origin; k < set.length && see(k);) ++k;
        if (isSeen[set.origin] == 0) continue;
        for (std::size_t k = set.origin; k > 0 && see(k - 1);) --k;
    }
}

/// out += weight * in, element by element.
void AddScaled(const float* in, float weight, std::size_t count, float* out) {
    for (std::size_t k = 0; k < count; ++k) out[k] += weight * in[k];
}

/// Gaussian smoothing along rows of that length; zeros beyond their ends.
std::vector<float> SmoothedAlong(const std::vector<float>& rows, std::size_t length, double sigmaSamples) {
    const auto reach = std::min(length - 1, static_cast<std::size_t>(std::ceil(3.0 * sigmaSamples)));
    const std::vector<float> weights = qvox::GaussianWeights(sigmaSamples, reach);
    std::vector<float> smooth(rows.size(), 0.0f);
    for (std::size_t begin = 0; begin < rows.size(); begin += length) {
        const float* const in = rows.data() + begin;
        float* const out = smooth.data() + begin;
        AddScaled(in, weights[0], length, out);
        for (std::size_t t = 1; t <= reach; ++t) {
            AddScaled(in, weights[t], length - t, out + t);
            AddScaled(in + t, weights[t], length - t, out);
        }
    }
    return smooth;
}

/// The same, then smoothing over neighbouring rows, of which the last is beside the first.
std::vector<float> SmoothedRows(const std::vector<float>& rows, std::size_t length, double sigmaSamples) {
    const std::vector<float> first = SmoothedAlong(rows, length, sigmaSamples);
    const auto neighbours = static_cast<std::size_t>(std::ceil(3.0 * kPoolingSigma));
    const std::vector<float> across = qvox::GaussianWeights(kPoolingSigma, neighbours);
    std::vector<float> second(rows.size(), 0.0f);
    for (std::size_t i = 0; i < kProfileDirections; ++i) {
        float* const out = second.data() + i * length;
        AddScaled(first.data() + i * length, across[0], length, out);
        for (std::size_t t = 1; t <= neighbours; ++t) {
            const std::size_t before = (i + kProfileDirections - t) % kProfileDirections;
            AddScaled(first.data() + before * length, across[t], length, out);
            AddScaled(first.data() + (i + t) % kProfileDirections * length, across[t], length, out);
        }
    }
    return second;
}

/// What SmoothedRows makes of 1 where something is seen and 0 elsewhere.
std::vector<float> SmoothedWeights(const ProfileSet& set) {
    const double sigma = set.smoothing / set.step;
    if (std::find(set.isSeen.begin(), set.isSeen.end(), 0) != set.isSeen.end()) {
        return SmoothedRows({set.isSeen.begin(), set.isSeen.end()}, set.length, sigma);
    }
    // Every direction is like every other.
    const std::vector<float> row = SmoothedAlong(std::vector<float>(set.length, 1.0f), set.length, sigma);
    std::vector<float> weights;
    weights.reserve(set.isSeen.size());
    for (int i = 0; i < kProfileDirections; ++i) weights.insert(weights.end(), row.begin(), row.end());
    return weights;
}

void SmoothAndDifferentiate(ProfileSet& set) {
    const std::vector<float> sums = SmoothedRows(set.grey, set.length, set.smoothing / set.step);
    const std::vector<float> weights = SmoothedWeights(set);
    for (std::size_t n = 0; n < sums.size(); ++n) set.grey[n] = set.isSeen[n] != 0 ? sums[n] / weights[n] : 0.0f;
    const float twoSteps = static_cast<float>(2.0 * set.step);
    for (std::size_t i = 0; i < kProfileDirections; ++i) {
        const float* const grey = set.Grey(i);
        const std::uint8_t* const isSeen = set.Seen(i);
        float* const slope = set.slope.data() + i * set.length;
        for (std::size_t k = 1; k + 1 < set.length; ++k) {
            if (isSeen[k - 1] != 0 && isSeen[k + 1] != 0) slope[k] = (grey[k + 1] - grey[k - 1]) / twoSteps;
        }
    }
}

}  // namespace

ProfileSet SampleProfiles(const qvox::VoxelImage<float>& image, const qvox::LabelImage& labels,
                          const qvox::VoxelImage<std::uint8_t>* excluded, const LabelExtent& extent,
                          const std::optional<ImagePart>& part) {
    ProfileSet set;
    Piece piece = LargestPiece(labels, extent);
    set.radius = std::sqrt(piece.pixels / kPi);
    if (set.radius < kSmallestRadius) return set;
    const PixelScale scale = ScaleOf(labels.Resolution());
    const double unit = scale.UnitNm();
    for (CurvePoint& point : piece.boundary) point = {point.x * scale.widthNm / unit, point.y * scale.heightNm / unit};
    set.outline = Smoothed(Resampled(piece.boundary, kProfileDirections), kOutlineSigma, piece.pixels);
    set.normals = OutwardNormals(set.outline);
    set.step = std::max(kSmallestStep, set.radius / kRadiusPerStep);
    set.smoothing = std::max(kSmallestSmoothing, set.radius / kRadiusPerSmoothing);
    set.origin = static_cast<std::size_t>(std::ceil(kInwards * set.radius / set.step));
    const double outwards = std::max(kOutwards * set.radius, kLeastOutwards);
    set.length = set.origin + 1 + static_cast<std::size_t>(std::ceil(outwards / set.step));
    const std::size_t samples = set.length * kProfileDirections;
    set.grey.assign(samples, 0.0f);
    set.slope.assign(samples, 0.0f);
    set.isSeen.assign(samples, 0);
    SampleRays(Field(image, labels, excluded, part.value_or(WholePart(labels)), extent.label), scale, set);
    SmoothAndDifferentiate(set);
    return set;
}

}  // namespace Korvane
