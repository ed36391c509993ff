#include "InformationBar.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace Korvane {

namespace {

constexpr float kSameLevel = 0.005f;         // of the range: packing with losses changes a bar a little
constexpr double kLeastShareOfRow = 0.4;     // of the bar's level; the rest is writing
constexpr double kLeastShareOfBar = 0.6;     // on the mean of its rows
constexpr double kConstantRow = 0.95;        // a frame's line, of another level
constexpr double kLargestShareBeyond = 0.25;  // of the bar's level, in the rows beyond it
constexpr std::int64_t kLeastRows = 8;
constexpr std::int64_t kRowsBeyond = 8;
constexpr std::int64_t kSkippedBeyond = 2;
constexpr double kLargestBar = 0.4;  // of the image's rows

/// The rows of an image counted from one end.
class RowsFromEnd {
public:
    enum class From { kTop, kBottom };
    RowsFromEnd(const qvox::VoxelImage<float>& image, From from, float tolerance)
        : image_(image), from_(from), tolerance_(tolerance) {}

    std::int64_t Count() const { return static_cast<std::int64_t>(image_.SizeY()); }

    const float* Row(std::int64_t number) const {
        return image_.Row(static_cast<std::uint64_t>(from_ == From::kTop ? number : Count() - 1 - number));
    }

    double Share(std::int64_t number, float level) const {
        const float* const row = Row(number);
        const auto same = std::count_if(row, row + image_.SizeX(), [&](float value) {
            return std::fabs(value - level) <= tolerance_;
        });
        return static_cast<double>(same) / static_cast<double>(image_.SizeX());
    }

    /// The median of the outermost rows: the bar's level, if there is one.
    float OutermostLevel() const {
        std::vector<float> values;
        for (std::int64_t number = 0; number < kLeastRows; ++number) {
            values.insert(values.end(), Row(number), Row(number) + image_.SizeX());
        }
        return MedianOf(values);
    }

    /// Exactly: the film between vesicles can be even enough for any tolerance.
    bool IsConstant(std::int64_t number) const {
        std::vector<float> values(Row(number), Row(number) + image_.SizeX());
        const float median = MedianOf(values);
        const auto same = std::count(values.begin(), values.end(), median);
        return static_cast<double>(same) >= kConstantRow * static_cast<double>(values.size());
    }

private:
    static float MedianOf(std::vector<float>& values) {
        const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
        std::nth_element(values.begin(), middle, values.end());
        return *middle;
    }

    const qvox::VoxelImage<float>& image_;
    From from_;
    float tolerance_;
};

std::int64_t BarRows(const RowsFromEnd& rows) {
    if (rows.Count() < 3 * kLeastRows) return 0;
    const float level = rows.OutermostLevel();
    const auto most = static_cast<std::int64_t>(kLargestBar * static_cast<double>(rows.Count()));
    std::int64_t count = 0;
    double shares = 0.0;
    for (; count <= most; ++count) {
        const double share = rows.Share(count, level);
        if (share < kLeastShareOfRow && !rows.IsConstant(count)) break;
        shares += share;
    }
    if (count < kLeastRows || count > most || shares < kLeastShareOfBar * static_cast<double>(count)) return 0;
    double beyond = 0.0;
    for (std::int64_t row = 0; row < kRowsBeyond; ++row) beyond += rows.Share(count + kSkippedBeyond + row, level);
    return beyond <= kLargestShareBeyond * static_cast<double>(kRowsBeyond) ? count : 0;
}

}  // namespace

InformationBars FindInformationBars(const qvox::VoxelImage<float>& image) {
    if (image.Empty() || image.SizeZ() != 1) return {};
    float low = image[0];
    float high = image[0];
    for (const float value : image) {
        if (!std::isfinite(value)) return {};
        low = std::min(low, value);
        high = std::max(high, value);
    }
    const float tolerance = kSameLevel * (high - low);
    if (!(tolerance > 0.0f) || !std::isfinite(tolerance)) return {};
    return {BarRows({image, RowsFromEnd::From::kTop, tolerance}), BarRows({image, RowsFromEnd::From::kBottom, tolerance})};
}

}  // namespace Korvane
