#include "LabelCensus.h"

namespace Korvane {

namespace {

constexpr std::size_t kLabelValues = 65536;

/// Sum of the columns x, x + 1, ... of a run.
std::uint64_t ColumnSum(std::uint64_t x, std::uint64_t length) { return length * x + length * (length - 1) / 2; }

}  // namespace

void LabelCensus::Forget() {
    tallies_.clear();
    objects_ = 0;
    ++version_;
}

void LabelCensus::Ensure(const qvox::LabelImage& labels) {
    if (!tallies_.empty()) return;
    std::vector<Tally> tallies(kLabelValues);
    const std::uint64_t width = labels.SizeX();
    for (std::uint64_t y = 0; y < labels.SizeY(); ++y) {
        const std::uint16_t* row = labels.Row(y);
        // Labels come in runs: one addition to the sums per run.
        for (std::uint64_t x = 0; x < width;) {
            const std::uint16_t label = row[x];
            const std::uint64_t start = x;
            while (x < width && row[x] == label) ++x;
            Tally& tally = tallies[label];
            tally.count += x - start;
            tally.x += ColumnSum(start, x - start);
            tally.y += (x - start) * y;
        }
    }
    std::size_t objects = 0;
    for (std::size_t label = 1; label < kLabelValues; ++label) objects += tallies[label].count > 0 ? 1u : 0u;
    tallies_.swap(tallies);
    objects_ = objects;
    ++version_;
}

void LabelCensus::Replace(std::uint16_t before, std::uint16_t after, std::uint64_t x, std::uint64_t y,
                          std::uint64_t length) {
    if (before == after || length == 0) return;
    Tally& loser = tallies_[before];
    Tally& winner = tallies_[after];
    if (after != 0 && winner.count == 0) ++objects_;
    const std::uint64_t columns = ColumnSum(x, length);
    loser.count -= length;
    loser.x -= columns;
    loser.y -= length * y;
    winner.count += length;
    winner.x += columns;
    winner.y += length * y;
    if (before != 0 && loser.count == 0) --objects_;
    ++version_;
}

std::optional<std::uint16_t> LabelCensus::FirstUnusedLabel() const {
    for (std::size_t label = 1; label < kLabelValues; ++label) {
        if (VoxelCount(static_cast<std::uint16_t>(label)) == 0) return static_cast<std::uint16_t>(label);
    }
    return std::nullopt;
}

std::vector<LabelAnchor> LabelCensus::Anchors() const {
    std::vector<LabelAnchor> anchors;
    for (std::size_t label = 1; label < tallies_.size(); ++label) {
        const Tally& tally = tallies_[label];
        if (tally.count == 0) continue;
        anchors.push_back({static_cast<std::uint16_t>(label), tally.x / tally.count, tally.y / tally.count});
    }
    return anchors;
}

}  // namespace Korvane
