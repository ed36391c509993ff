#include "GreyLevels.h"

#include <algorithm>
#include <array>

namespace Korvane {

namespace {

struct ValueRange {
    float smallest;
    float largest;
};

void Widen(ValueRange& range, float lower, float upper) {
    if (lower < range.smallest) range.smallest = lower;
    if (range.largest < upper) range.largest = upper;
}

/// Takes in several lanes, so that one comparison need not wait for the other.
void TakeValues(const float* value, const float* end, ValueRange& range) {
    constexpr std::size_t kLanes = 16;
    std::array<float, kLanes> low{};
    std::array<float, kLanes> high{};
    low.fill(range.smallest);
    high.fill(range.largest);
    for (; end - value >= static_cast<std::ptrdiff_t>(kLanes); value += kLanes) {
        for (std::size_t i = 0; i < kLanes; ++i) {
            low[i] = value[i] < low[i] ? value[i] : low[i];
            high[i] = high[i] < value[i] ? value[i] : high[i];
        }
    }
    for (std::size_t i = 0; i < kLanes; ++i) Widen(range, low[i], high[i]);
    for (; value != end; ++value) Widen(range, *value, *value);
}

/// As VoxelImage::ValueRange.
ValueRange RangeOf(const qvox::VoxelImage<float>& image, const qvox::PartRunner& run) {
    const float* value = std::find_if(image.begin(), image.end(), [](float v) { return v == v; });
    if (value == image.end()) --value;
    ValueRange range{*value, *value};
    std::vector<ValueRange> ranges(qvox::PartsOf(image.VoxelCount(), qvox::kFewestVoxelsOfPart), range);
    qvox::RunRanges(image.VoxelCount(), qvox::kFewestVoxelsOfPart, run, [&](const qvox::PartRange& part) {
        TakeValues(image.begin() + part.first, image.begin() + part.end, ranges[part.part]);
    });
    for (const ValueRange& part : ranges) Widen(range, part.smallest, part.largest);
    return range;
}

/// Gathers first, so that the levels are worked out several at a time.
template <typename Level>
void SampleRow(const float* row, const std::vector<std::uint64_t>& columns, std::uint8_t* levels, Level level) {
    constexpr std::size_t kBlock = 256;
    std::array<float, kBlock> values{};
    for (std::size_t begin = 0; begin < columns.size(); begin += kBlock) {
        const std::size_t count = std::min(kBlock, columns.size() - begin);
        for (std::size_t i = 0; i < count; ++i) values[i] = row[columns[begin + i]];
        for (std::size_t i = 0; i < count; ++i) levels[begin + i] = level(values[i]);
    }
}

}  // namespace

GreyLevels::GreyLevels(const qvox::VoxelImage<float>& raw, const qvox::PartRunner& run)
    : GreyLevels(raw, 0.0f, 0.0f) {
    rule_ = Rule::kWhole;
    if (raw.Empty()) return;
    const ValueRange range = RangeOf(raw, run);
    black_ = range.smallest;
    white_ = range.largest;
}

GreyLevels::GreyLevels(const qvox::VoxelImage<float>& raw, float black, float white)
    : raw_(&raw),
      rule_(Rule::kRange),
      black_(black),
      white_(white),
      sizeX_(raw.SizeX()),
      sizeY_(raw.SizeY()),
      sizeZ_(raw.SizeZ()) {}

void GreyLevels::Sample(std::uint64_t y, const std::vector<std::uint64_t>& columns, std::uint8_t* levels) const {
    if (grey_ != nullptr) {
        const std::uint8_t* const row = grey_->Row(y);
        std::transform(columns.begin(), columns.end(), levels, [row](std::uint64_t x) { return row[x]; });
        return;
    }
    const float black = black_;
    const float white = white_;
    if (rule_ == Rule::kWhole) {
        SampleRow(raw_->Row(y), columns, levels,
                  [=](float value) { return WholeRangeLevel(value, black, white - black); });
        return;
    }
    const float scale = RangeScale(black, white);
    SampleRow(raw_->Row(y), columns, levels, [=](float value) { return RangeLevel(value, black, white, scale); });
}

}  // namespace Korvane
