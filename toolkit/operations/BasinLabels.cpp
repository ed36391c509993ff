#include "operations/BasinLabels.h"

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "operations/BasinFlood.h"
#include "operations/FollowDirections.h"
#include "operations/LowestNeighbour.h"

namespace qvox {

namespace {

/// The lowest marker voxel of each basin, the first of several, as a source of the flood.
std::vector<BasinPass> FindSources(const ReliefBasins& basins, const LabelImage& markers, const PartRunner& run) {
    std::vector<std::vector<BasinPass>> found(PartsOf(basins.Height(), kFewestRowsOfPart));
    RunRows(basins.Height(), run, [&](const PartRange& rows) {
        const std::uint32_t first = basins.FirstBasins()[rows.part];
        std::vector<BasinPass> sources(basins.FirstBasins()[rows.part + 1] - first);
        for (BasinPass& source : sources) source.level = kBeyond;
        for (std::uint64_t y = rows.first; y < rows.end; ++y) {
            const std::uint16_t* row = markers.Row(y);
            for (std::size_t x = 0; x < basins.Width(); ++x) {
                if (row[x] == 0) continue;
                const std::size_t at = basins.At(x, y);
                BasinPass& source = sources[basins.BasinsInStrips()[at]];
                if (basins.Levels()[at] >= source.level) continue;
                const std::uint32_t basin = first + basins.BasinsInStrips()[at];
                source = {basins.Levels()[at], static_cast<std::uint32_t>(at), basin, basin};
            }
        }
        sources.erase(std::remove_if(sources.begin(), sources.end(),
                                     [](const BasinPass& source) { return source.level == kBeyond; }),
                      sources.end());
        found[rows.part] = std::move(sources);
    });
    std::vector<BasinPass> all;
    for (const std::vector<BasinPass>& sources : found) all.insert(all.end(), sources.begin(), sources.end());
    return all;
}

/// A voxel of both images: of the basins', which have a margin, and of the labels'.
struct Place {
    std::size_t voxel;
    std::size_t pixel;
};

class Labels {
    /// So many steps on the way to a voxel's origin are no waste of time, one with the other.
    static constexpr std::size_t kMostSteps = 256;

public:
    Labels(ReliefBasins& basins, const LabelImage& markers, const BasinFlood& flood, LabelImage& output,
           const PartRunner& run)
        : basins_(basins), markers_(markers.begin()), flood_(flood), output_(output.begin()), run_(run) {
        const auto s = static_cast<std::ptrdiff_t>(basins.Stride());
        const auto w = static_cast<std::ptrdiff_t>(basins.Width());
        for (std::ptrdiff_t dy = -1, i = 0; dy <= 1; ++dy) {
            for (std::ptrdiff_t dx = -1; dx <= 1; ++dx, ++i) {
                voxelSteps_[static_cast<std::size_t>(i)] = dy * s + dx;
                pixelSteps_[static_cast<std::size_t>(i)] = dy * w + dx;
            }
        }
    }

    /// False when a voxel's label depends on the order of arrival.
    bool Make() {
        RaiseBasins();
        return NameLakes() && FillRows() && CheckRows();
    }

private:
    void RaiseBasins() {
        std::vector<Cell> levels(flood_.lakeOfBasin.size());
        std::transform(flood_.lakeOfBasin.begin(), flood_.lakeOfBasin.end(), levels.begin(),
                       [this](std::uint32_t lake) { return flood_.lakes[lake].level; });
        basins_.Raise(levels, run_);
        levels_ = basins_.Levels();
    }

    struct Lake {
        Cell level;
        std::uint16_t label;
    };

    Place Step(Place at, std::size_t direction) const {
        return {static_cast<std::size_t>(static_cast<std::ptrdiff_t>(at.voxel) + voxelSteps_[direction]),
                static_cast<std::size_t>(static_cast<std::ptrdiff_t>(at.pixel) + pixelSteps_[direction])};
    }

    std::size_t LowestAround(std::size_t voxel) const {
        std::size_t lowest = kHere;
        Cell level = levels_[voxel];
        for (std::size_t i = 0; i < voxelSteps_.size(); ++i) {
            const Cell other = levels_[static_cast<std::size_t>(static_cast<std::ptrdiff_t>(voxel) + voxelSteps_[i])];
            if (other < level) {
                level = other;
                lowest = i;
            }
        }
        return lowest;
    }

    std::uint32_t LakeAt(std::size_t voxel) const {
        const std::uint32_t lake = flood_.lakeOfBasin[basins_.BasinAt(voxel)];
        return levels_[voxel] == flood_.lakes[lake].level ? lake : BasinFlood::kDry;
    }

    /// Where the label of a voxel comes from: a marker's label, a lake, or nothing that can be told.
    struct Origin {
        std::uint16_t label = 0;
        std::uint32_t lake = BasinFlood::kDry;
    };

    /// Takes its steps from `stepsLeft`: none is taken that is not there.
    Origin FindOrigin(Place at, std::size_t& stepsLeft) const {
        for (; stepsLeft != 0; --stepsLeft) {
            if (markers_[at.pixel] != 0) return {markers_[at.pixel], BasinFlood::kDry};
            std::size_t direction = LowestAround(at.voxel);
            if (direction == kHere) {
                const std::uint32_t lake = LakeAt(at.voxel);
                if (lake != BasinFlood::kDry) return {0, lake};
                direction = AlongLevel(at);
                if (direction == kHere) return {};
            }
            at = Step(at, direction);
        }
        return {};
    }

    /// From a voxel that has no lower neighbour: to one of the same level that has one or that is a marker or in a
    /// lake; otherwise to an earlier one.
    std::size_t AlongLevel(Place at) const {
        std::size_t earlier = kHere;
        for (std::size_t i = 0; i < voxelSteps_.size(); ++i) {
            if (i == kHere) continue;
            const Place other = Step(at, i);
            if (levels_[other.voxel] != levels_[at.voxel]) continue;
            if (markers_[other.pixel] != 0 || LakeAt(other.voxel) != BasinFlood::kDry ||
                LowestAround(other.voxel) != kHere) {
                return i;
            }
            if (i < kHere && earlier == kHere) earlier = i;
        }
        return earlier;
    }

    Place PlaceOf(std::uint32_t voxel) const {
        const std::size_t y = voxel / basins_.Stride() - 1;
        const std::size_t x = voxel % basins_.Stride() - 1;
        return {voxel, y * basins_.Width() + x};
    }

    /// Labels the lakes, which are in the order in which they are entered: a flood comes from an earlier one. False
    /// when some label could not be told.
    bool NameLakes() {
        constexpr std::uint64_t kFewestLakes = 256;
        const std::vector<BasinFlood::Lake>& lakes = flood_.lakes;
        std::vector<Origin> origins(lakes.size());
        RunRanges(lakes.size(), kFewestLakes, run_, [&](const PartRange& part) {
            std::size_t steps = kMostSteps * (part.end - part.first);
            for (std::uint64_t i = part.first; i < part.end; ++i) {
                origins[i] = FindOrigin(PlaceOf(lakes[i].entry), steps);
            }
        });
        std::vector<std::uint16_t>& labels = labelsOfLakes_;
        labels.resize(lakes.size());
        for (std::size_t i = 0; i < lakes.size(); ++i) {
            const Origin& origin = origins[i];
            labels[i] = origin.lake < i ? labels[origin.lake] : origin.label;
        }
        lakeOfBasin_.resize(flood_.lakeOfBasin.size());
        std::transform(flood_.lakeOfBasin.begin(), flood_.lakeOfBasin.end(), lakeOfBasin_.begin(),
                       [&](std::uint32_t lake) {
                           return Lake{lakes[lake].level, labels[lake]};
                       });
        return std::count(labels.begin(), labels.end(), 0) == 0;
    }

    std::uint16_t LabelFrom(Place at, std::size_t& stepsLeft) const {
        const Origin origin = FindOrigin(at, stepsLeft);
        return origin.lake == BasinFlood::kDry ? origin.label : labelsOfLakes_[origin.lake];
    }

    /// Labels every voxel; false when some label could not be told.
    bool FillRows() {
        std::vector<std::uint8_t> complete(PartsOf(basins_.Height(), kFewestRowsOfPart), 0);
        RunRows(basins_.Height(), run_, [&](const PartRange& rows) { complete[rows.part] = FillStrip(rows); });
        return std::count(complete.begin(), complete.end(), 0) == 0;
    }

    bool FillStrip(const PartRange& rows) {
        const std::size_t width = basins_.Width();
        const std::size_t first = rows.first * width;
        std::vector<std::uint8_t> directions = DirectionsIn(rows);
        // Labels that come from elsewhere: of markers, of lakes, and from beyond the strip.
        std::size_t stepsLeft = 4 * (rows.end - rows.first) * width + kMostSteps;
        bool complete = true;
        const auto followFrom = [&](Place at) {
            const std::uint16_t label = LabelFrom(at, stepsLeft);
            complete = complete && label != 0;
            return label;
        };
        const std::uint32_t firstBasin = basins_.FirstBasins()[rows.part];
        for (std::uint64_t y = rows.first; y < rows.end; ++y) {
            const std::size_t voxels = basins_.At(0, y);
            const std::size_t pixels = y * width;
            for (std::size_t x = 0; x < width && complete; ++x) {
                std::uint16_t label = markers_[pixels + x];
                if (directions[pixels - first + x] == kHere && label == 0) {
                    const Lake& lake = lakeOfBasin_[firstBasin + basins_.BasinsInStrips()[voxels + x]];
                    label = levels_[voxels + x] == lake.level ? lake.label : followFrom({voxels + x, pixels + x});
                }
                output_[pixels + x] = label;
            }
            const bool above = y == rows.first;
            const bool below = y + 1 == rows.end;
            if (!above && !below) continue;
            for (std::size_t x = 0; x < width && complete; ++x) {
                std::uint8_t& direction = directions[pixels - first + x];
                if (!(above && direction < 3) && !(below && direction > 5)) continue;
                direction = kHere;
                if (output_[pixels + x] == 0) output_[pixels + x] = followFrom({voxels + x, pixels + x});
            }
        }
        if (complete) {
            FollowDirections({directions.data(), width, rows.end - rows.first, width}, std::uint16_t{0},
                             output_ + first);
        }
        return complete;
    }

    std::vector<std::uint8_t> DirectionsIn(const PartRange& rows) const {
        const std::size_t width = basins_.Width();
        const std::size_t stride = basins_.Stride();
        std::vector<std::uint8_t> directions((rows.end - rows.first) * width + LowestNeighbour::kWrittenBehind);
        LowestNeighbour lowest(width);
        const Cell* levels = levels_ + basins_.At(0, rows.first);
        lowest.Start(levels - stride, levels);
        for (std::uint64_t row = 0; row < rows.end - rows.first; ++row, levels += stride) {
            lowest.Next(levels, levels + stride, AmongEquals::kItself, &directions[row * width]);
        }
        return directions;
    }

    /// Whether each voxel's label is that of every neighbour from which it may have come.
    bool CheckRows() const {
        std::vector<std::uint8_t> right(PartsOf(basins_.Height(), kFewestRowsOfPart), 1);
        RunRows(basins_.Height(), run_, [&](const PartRange& rows) {
            for (std::uint64_t y = rows.first; y < rows.end; ++y) {
                if (!CheckRow(y)) right[rows.part] = 0;
            }
        });
        return std::count(right.begin(), right.end(), 0) == 0;
    }

    bool CheckRow(std::uint64_t y) const {
        constexpr std::size_t kAtOnce = 8;
        const std::size_t width = basins_.Width();
        const std::uint16_t* row = output_ + y * width;
        const std::uint16_t* above = y == 0 ? row : row - width;
        const std::uint16_t* below = y + 1 == basins_.Height() ? row : row + width;
        bool right = true;
        const auto check = [&](std::size_t x) { right = right && Check({basins_.At(x, y), y * width + x}); };
        std::size_t x = 0;
        check(x++);
        for (; x + kAtOnce < width; x += kAtOnce) {
            // Two bits a voxel.
            unsigned others = BesideOthers(above + x, row + x, below + x) & 0x5555u;
            for (; others != 0; others &= others - 1) check(x + static_cast<unsigned>(__builtin_ctz(others)) / 2);
        }
        while (x < width) check(x++);
        return right;
    }

    /// Which of eight voxels have a neighbour of another label.
    static unsigned BesideOthers(const std::uint16_t* above, const std::uint16_t* row, const std::uint16_t* below) {
        const auto load = [](const std::uint16_t* labels) {
            return _mm_loadu_si128(reinterpret_cast<const __m128i*>(labels));
        };
        const __m128i here = load(row);
        __m128i same = _mm_cmpeq_epi16(here, load(row - 1));
        same = _mm_and_si128(same, _mm_cmpeq_epi16(here, load(row + 1)));
        for (const std::uint16_t* labels : {above, below}) {
            for (int dx = -1; dx <= 1; ++dx) same = _mm_and_si128(same, _mm_cmpeq_epi16(here, load(labels + dx)));
        }
        return static_cast<unsigned>(_mm_movemask_epi8(same)) ^ 0xFFFFu;
    }

    bool Check(Place at) const {
        if (markers_[at.pixel] != 0) return true;
        Cell lowest = kBeyond;
        for (std::size_t i = 0; i < voxelSteps_.size(); ++i) {
            if (i != kHere) lowest = std::min(lowest, levels_[Step(at, i).voxel]);
        }
        for (std::size_t i = 0; i < voxelSteps_.size(); ++i) {
            if (i == kHere) continue;
            const Place other = Step(at, i);
            if (levels_[other.voxel] == lowest && output_[other.pixel] != output_[at.pixel]) return false;
        }
        return true;
    }

    ReliefBasins& basins_;
    const std::uint16_t* markers_;
    const BasinFlood& flood_;
    std::uint16_t* output_;
    const PartRunner& run_;
    const Cell* levels_ = nullptr;
    std::array<std::ptrdiff_t, 9> voxelSteps_{};
    std::array<std::ptrdiff_t, 9> pixelSteps_{};
    std::vector<std::uint16_t> labelsOfLakes_;
    std::vector<Lake> lakeOfBasin_;
};

}  // namespace

bool LabelByBasins(ReliefBasins& basins, const LabelImage& markers, LabelImage& output, const PartRunner& run) {
    // Noise of single voxels has a basin in nine; it takes longer than by the queue, and equal levels are frequent
    // there.
    constexpr std::size_t kFewestVoxelsOfBasin = 10;
    constexpr std::size_t kFewBasins = 500;
    if (basins.Count() > basins.Width() * basins.Height() / kFewestVoxelsOfBasin + kFewBasins) return false;
    std::vector<BasinPass> passes = basins.TakePasses();
    const std::vector<BasinPass> sources = FindSources(basins, markers, run);
    if (sources.empty()) {
        output.Zero();
        return true;
    }
    passes.insert(passes.end(), sources.begin(), sources.end());
    const BasinFlood flood = FloodBasins(std::move(passes), basins.Count());
    return Labels(basins, markers, flood, output, run).Make();
}

}  // namespace qvox
