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

/// Pixels of a word, and the offset of its westernmost one.
struct WordPixelsAt {
    std::int32_t first;
    Word pixels;
};

int Count(Word pixels) { return static_cast<int>(std::bitset<64>(pixels).count()); }

/// The open pixels that are not below `lowest`, in raster order.
std::vector<WordPixelsAt> OpenPixelsFrom(float lowest, const float* edges, const BitPlane& open) {
    std::vector<WordPixelsAt> wanted;
    for (int y = 0; y < open.Height(); ++y) {
        for (int x = 0; x < open.Width(); x += 64) {
            Word pixels = open[open.Grid().WordAt(x, y)];
            const std::int32_t first = y * open.Width() + x;
            pixels &= pixels == 0 ? 0 : AtLeast(edges + first, std::min(64, open.Width() - x), lowest);
            if (pixels != 0) {
                wanted.push_back({first, pixels});
            }
        }
    }
    return wanted;
}

/// Writes the bucket of each wanted pixel in their order, and adds to the counts of the buckets.
void FindBuckets(const std::vector<WordPixelsAt>& wanted, const float* edges, const BucketFinder& finder,
                 std::uint16_t* bucket, std::vector<std::size_t>& counts) {
    std::array<std::int32_t, 64> guesses;
    for (const WordPixelsAt& word : wanted) {
        const float* values = edges + word.first;
        finder.Guess(values, HighestBit(word.pixels) + 1, guesses.data());
        for (Word remaining = word.pixels; remaining != 0; remaining &= remaining - 1) {
            const int i = LowestBit(remaining);
            *bucket = finder.Find(values[i], guesses[static_cast<std::size_t>(i)]);
            ++counts[*bucket];
            ++bucket;
        }
    }
}

/// Makes of counts the sums of all counts before each.
void SumBefore(std::vector<std::size_t>& counts) {
    std::size_t sum = 0;
    for (std::size_t& count : counts) {
        sum += count;
        count = sum - count;
    }
}

/// Writes the offset of each wanted pixel to the next place of its bucket.
void Distribute(const std::vector<WordPixelsAt>& wanted, const std::uint16_t* bucket, std::vector<std::size_t> next,
                std::int32_t* pixels) {
    for (const WordPixelsAt& word : wanted) {
        for (Word remaining = word.pixels; remaining != 0; remaining &= remaining - 1) {
            // As many as FindBuckets wrote, which the analyser cannot see.
            // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage)
            pixels[next[*bucket++]++] = word.first + LowestBit(remaining);
        }
    }
}

}  // namespace

LevelBuckets::LevelBuckets(const float* edges, const BitPlane& open, const std::vector<float>& levels, float step)
    : starts_(2 * levels.size() + 2, 0) {
    if (levels.empty()) {
        return;
    }
    const std::vector<WordPixelsAt> wanted = OpenPixelsFrom(levels.back(), edges, open);
    std::size_t total = 0;
    for (const WordPixelsAt& word : wanted) {
        total += static_cast<std::size_t>(Count(word.pixels));
    }
    const qvox::LargePageArray<std::uint16_t> buckets = qvox::MakeLargePageArray<std::uint16_t>(total);
    FindBuckets(wanted, edges, BucketFinder(levels, step), buckets.get(), starts_);
    SumBefore(starts_);
    pixels_ = qvox::MakeLargePageArray<std::int32_t>(total);
    Distribute(wanted, buckets.get(), starts_, pixels_.get());
}

}  // namespace level_sweep
