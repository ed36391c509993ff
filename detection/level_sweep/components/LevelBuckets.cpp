#include "components/LevelBuckets.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <limits>

#include "bits/FloatCompare.h"

namespace level_sweep {
namespace {

/// Finds the bucket of a value; see LevelBuckets.
class BucketFinder {
public:
    BucketFinder(const std::vector<float>& levels, float step)
        : perStep_(1.0f / step), last_(static_cast<float>(levels.size() - 1)) {
        bounds_.push_back(std::numeric_limits<float>::quiet_NaN());
        bounds_.insert(bounds_.end(), levels.begin(), levels.end());
    }

    /// Estimates for up to 64 values the index of the first level that the value is not below.
    void Guess(const float* values, int count, std::int32_t* levels) const {
        const float first = bounds_[1];
        for (int i = 0; i < count; ++i) {
            float guess = (first - values[i]) * perStep_;
            guess = guess < last_ ? guess : last_;
            levels[i] = static_cast<std::int32_t>(guess > 0.0f ? guess : 0.0f);
        }
    }

    /// `value` is not below the last level.
    std::uint16_t Find(float value, std::int32_t guess) const {
        const float* level = &bounds_[static_cast<std::size_t>(guess) + 1];
        while (value >= level[-1]) {
            --level;
        }
        while (value < *level) {
            ++level;
        }
        const auto k = static_cast<int>(level - bounds_.data()) - 1;
        return static_cast<std::uint16_t>(2 * k + (value > *level ? 1 : 2));
    }

private:
    float perStep_;
    float last_;
    std::vector<float> bounds_;  // one that no value reaches, then the levels
};

int Count(Word pixels) { return static_cast<int>(std::bitset<64>(pixels).count()); }

}  // namespace

LevelBuckets::LevelBuckets(const float* edges, const BitPlane& open, const std::vector<float>& levels, float step)
    : starts_(2 * levels.size() + 2, 0) {
    if (levels.empty()) {
        return;
    }
    struct Wanted {
        std::int32_t first;  // offset of the word's leftmost pixel
        Word pixels;
    };
    std::vector<Wanted> wanted;
    std::size_t total = 0;
    for (int y = 0; y < open.Height(); ++y) {
        for (int x = 0; x < open.Width(); x += 64) {
            Word pixels = open[open.Grid().WordAt(x, y)];
            const std::int32_t first = y * open.Width() + x;
            pixels &= pixels == 0 ? 0 : AtLeast(edges + first, std::min(64, open.Width() - x), levels.back());
            if (pixels != 0) {
                wanted.push_back({first, pixels});
                total += static_cast<std::size_t>(Count(pixels));
            }
        }
    }
    const BucketFinder finder(levels, step);
    const qvox::LargePageArray<std::uint16_t> buckets = qvox::MakeLargePageArray<std::uint16_t>(total);
    std::uint16_t* bucket = buckets.get();
    std::array<std::int32_t, 64> guesses;
    for (const Wanted& word : wanted) {
        const float* values = edges + word.first;
        finder.Guess(values, HighestBit(word.pixels) + 1, guesses.data());
        for (Word remaining = word.pixels; remaining != 0; remaining &= remaining - 1) {
            const int i = LowestBit(remaining);
            *bucket = finder.Find(values[i], guesses[static_cast<std::size_t>(i)]);
            ++starts_[*bucket];
            ++bucket;
        }
    }
    std::size_t sum = 0;
    for (std::size_t& start : starts_) {
        sum += start;
        start = sum - start;
    }
    std::vector<std::size_t> next = starts_;
    pixels_ = qvox::MakeLargePageArray<std::int32_t>(total);
    bucket = buckets.get();
    for (const Wanted& word : wanted) {
        for (Word remaining = word.pixels; remaining != 0; remaining &= remaining - 1) {
            // As many as above, which the analyser cannot see. NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage)
            pixels_[next[*bucket++]++] = word.first + LowestBit(remaining);
        }
    }
}

}  // namespace level_sweep
