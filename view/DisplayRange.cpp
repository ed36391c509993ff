#include "DisplayRange.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "GreyLevels.h"

namespace Korvane {

namespace {

constexpr std::size_t kBins = 65536;
/// How far an end lies from its own side, in percent, step by step.
constexpr std::array<double, 9> kSteps{0.0, 0.5, 1.0, 2.0, 4.0, 8.0, 16.0, 32.0, 48.0};

double Further(double distance) {
    const auto next = std::upper_bound(kSteps.begin(), kSteps.end(), distance);
    return next == kSteps.end() ? kSteps.back() : *next;
}

double Nearer(double distance) {
    const auto here = std::lower_bound(kSteps.begin(), kSteps.end(), distance);
    return here == kSteps.begin() ? 0.0 : *(here - 1);
}

}  // namespace

DisplayRange Bounded(DisplayRange range) {
    range.lowPercent = std::clamp(range.lowPercent, 0.0, 100.0 - kLeastDisplayPercent);
    range.highPercent = std::clamp(range.highPercent, range.lowPercent + kLeastDisplayPercent, 100.0);
    return range;
}

DisplayRange Brighter(const DisplayRange& range) {
    if (range.lowPercent > 0.0) return {Nearer(range.lowPercent), range.highPercent};
    return {0.0, 100.0 - Further(100.0 - range.highPercent)};
}

DisplayRange Darker(const DisplayRange& range) {
    if (range.highPercent < 100.0) return {range.lowPercent, 100.0 - Nearer(100.0 - range.highPercent)};
    return {Further(range.lowPercent), 100.0};
}

IntensityDistribution::IntensityDistribution(const qvox::VoxelImage<float>& image) {
    smallest_ = std::numeric_limits<float>::max();
    largest_ = std::numeric_limits<float>::lowest();
    for (const float value : image) {
        if (!std::isfinite(value)) continue;
        smallest_ = std::min(smallest_, value);
        largest_ = std::max(largest_, value);
    }
    if (smallest_ > largest_) {
        smallest_ = largest_ = 0.0f;
        return;
    }
    bins_.assign(kBins, 0);
    const double width = static_cast<double>(largest_) - static_cast<double>(smallest_);
    const double scale = width > 0.0 ? static_cast<double>(kBins) / width : 0.0;
    for (const float value : image) {
        if (!std::isfinite(value)) continue;
        const double at = (static_cast<double>(value) - static_cast<double>(smallest_)) * scale;
        ++bins_[std::min(static_cast<std::size_t>(at), kBins - 1)];
        ++total_;
    }
}

float IntensityDistribution::Percentile(double percent) const {
    if (total_ == 0 || percent <= 0.0) return smallest_;
    if (percent >= 100.0) return largest_;
    const double wanted = percent / 100.0 * static_cast<double>(total_);
    std::uint64_t below = 0;
    std::size_t bin = 0;
    while (bin + 1 < kBins && static_cast<double>(below + bins_[bin]) < wanted) below += bins_[bin++];
    const double width = static_cast<double>(largest_) - static_cast<double>(smallest_);
    return static_cast<float>(static_cast<double>(smallest_) +
                              width * static_cast<double>(bin) / static_cast<double>(kBins));
}

std::vector<std::uint64_t> IntensityDistribution::Counts(std::size_t count) const {
    std::vector<std::uint64_t> counts(count);
    for (std::size_t bin = 0; bin < bins_.size(); ++bin) counts[bin / (kBins / count)] += bins_[bin];
    return counts;
}

double IntensityDistribution::Place(float intensity) const {
    const double width = static_cast<double>(largest_) - static_cast<double>(smallest_);
    if (!(width > 0.0)) return 0.0;
    return std::clamp((static_cast<double>(intensity) - static_cast<double>(smallest_)) / width, 0.0, 1.0);
}

void ConvertRangeToGrey(const qvox::VoxelImage<float>& raw, float black, float white, GreyPicture& grey) {
    grey.CopyPropertiesFrom(raw);
    grey.Resize(raw.SizeX(), raw.SizeY(), raw.SizeZ());
    const float scale = RangeScale(black, white);
    std::transform(raw.begin(), raw.end(), grey.begin(),
                   [=](float value) { return RangeLevel(value, black, white, scale); });
}

}  // namespace Korvane
