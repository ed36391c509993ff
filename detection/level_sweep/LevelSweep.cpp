#include "LevelSweep.h"

#include <algorithm>

#include "Assert.h"
#include "EnclosedRegionAnalysis.h"
#include "bits/BitPlane.h"
#include "bits/FloatCompare.h"
#include "components/LevelBuckets.h"
#include "components/ShrinkingComponents.h"

namespace level_sweep {
namespace {

BitPlane OpenPixels(const MapView& edges, float openUpTo, const PixelMask& alsoOpen) {
    BitPlane open(edges.width, edges.height);
    for (int y = 0; y < edges.height; ++y) {
        const float* row = edges.values + static_cast<std::ptrdiff_t>(y) * edges.width;
        for (int x = 0; x < edges.width; x += 64) {
            const std::int32_t word = open.Grid().WordAt(x, y);
            open[word] = AtMost(row + x, std::min(64, edges.width - x), openUpTo);
            if (!alsoOpen.empty()) {
                open[word] |= alsoOpen[static_cast<std::size_t>(word)];
            }
        }
    }
    return open;
}

}  // namespace

/// The map with its components and its background.
///
/// Invariants between removals and sweeps:
///  1. Each pixel is open, or background, or touched, or was analysed: open pixels are neither background nor touched.
///  2. A removable pixel is open and at or above the level of the last RemoveConnected.
///  3. No removable pixel has background in its neighbourhood but those exactly at the level, and those next to pixels
///     that were cleared or erased since.
class LevelSweep::State {
public:
    State(const MapView& edges, float openUpTo, const PixelMask& alsoOpen, const std::vector<float>& levels,
          float levelStep, const ComponentSizes& sizes)
        : edges_(edges.values),
          width_(edges.width),
          height_(edges.height),
          levels_(levels),
          sizes_(sizes),
          components_(OpenPixels(edges, openUpTo, alsoOpen),
                      std::max(sizes.maximumAreaPx, sizes.minimumAreaPx - 1)),
          buckets_(edges.values, components_.Open(), levels, levelStep),
          analysis_(Complement(components_.Open()), sizes.longBranchPx),
          removable_(width_, height_) {}

    template <typename PixelsIn>
    PixelMask Mask(PixelsIn pixelsIn) const {
        PixelMask mask;
        mask.reserve(Grid().Words());
        for (int y = 0; y < height_; ++y) {
            for (int column = 0; column < Grid().WordsPerRow(); ++column) {
                mask.push_back(pixelsIn(column, y));
            }
        }
        return mask;
    }
    const EnclosedRegionAnalysis& Analysis() const { return analysis_; }

    /// Components that lost pixels since the last sweep are all that a sweep over the whole map would find: those that
    /// are too large may become smaller, all others leave with their first sweep.
    void Sweep() {
        for (const TakenComponent& component : components_.TakeSmall()) {
            for (const WordPixels<BitGrid>& part : component.parts) {
                removable_[part.word] &= ~part.pixels;
            }
            if (component.area < sizes_.minimumAreaPx) {
                for (const WordPixels<BitGrid>& part : component.parts) {
                    analysis_.BackgroundAdded(part);
                }
                erased_.insert(erased_.end(), component.parts.begin(), component.parts.end());
                continue;
            }
            analysis_.Analyse(component.parts);
        }
        CheckInvariants();
    }

    void RemoveAbove(std::size_t level) {
        erased_.clear();  // erased pixels start no removal here
        ForEachOpenPixel(buckets_.Above(level), [&](PixelPosition at) { Remove(at); });
        NotifyComponents();
        CheckInvariants();
    }

    /// Removes the regions of open pixels at or above `level` in which a pixel above it touches background. Beyond the
    /// pixels whose own level has come, only those next to pixels that were cleared or erased since the level before can
    /// have begun to touch background.
    void RemoveConnected(std::size_t index) {
        const float level = levels_[index];
        ForEachOpenPixel(buckets_.At(index), [&](PixelPosition at) { removable_.Add(at.x, at.y); });
        if (index > 0) {
            // These have been removable since the level before: some may be gone with others by now.
            ForEachOpenPixel(buckets_.At(index - 1), [&](PixelPosition at) {
                if (removable_.Has(at.x, at.y)) {
                    RemoveIfTouching(at);
                }
            });
        }
        ForEachOpenPixel(buckets_.AboveOnly(index), [&](PixelPosition at) {
            removable_.Add(at.x, at.y);
            RemoveIfTouching(at);
        });
        analysis_.TakeCleared([&](int column, int y, Word pixels) { RemoveNextTo(column, y, pixels, level); });
        for (const WordPixels<BitGrid>& part : erased_) {
            const WordPosition at = Grid().PositionOf(part.word);
            RemoveNextTo(at.column, at.y, part.pixels, level);
        }
        erased_.clear();
        NotifyComponents();
        CheckInvariants();
        CheckRemoved(level);
    }

private:
    static constexpr std::size_t kNotifiedAtOnce = 4096;
#ifdef KORVANE_ASSERTIONS
    static constexpr std::size_t kMostWordsChecked = 256;
#endif

    static BitPlane Complement(const BitPlane& plane) {
        BitPlane complement(plane.Width(), plane.Height());
        for (int y = 0; y < plane.Height(); ++y) {
            for (int x = 0; x < plane.Width(); x += 64) {
                const std::int32_t word = plane.Grid().WordAt(x, y);
                complement[word] = ~plane[word] & ~Word{0} >> (64 - std::min(64, plane.Width() - x));
            }
        }
        return complement;
    }

    const BitGrid& Grid() const { return components_.Open().Grid(); }

    /// Calls use(position) for each of the pixels that is open, or has been removed since the components were notified
    /// last.
    template <typename Use>
    void ForEachOpenPixel(const LevelBuckets::Pixels& pixels, Use use) const {
        PixelPosition at{0, 0};
        std::int32_t rowStart = 0;
        for (const std::int32_t pixel : pixels) {
            if (static_cast<std::uint32_t>(pixel - rowStart) >= static_cast<std::uint32_t>(width_)) {
                at.y = pixel / width_;
                rowStart = at.y * width_;
            }
            at.x = pixel - rowStart;
            if (components_.Open().Has(at.x, at.y)) {
                use(at);
            }
        }
    }

    void Remove(PixelPosition at) {
        removable_.Remove(at.x, at.y);
        analysis_.BackgroundAdded(at.x, at.y);
        removed_.push_back(at);
        if (removed_.size() == kNotifiedAtOnce) {
            NotifyComponents();
        }
    }

    void NotifyComponents() {
        components_.Remove(removed_);
        removed_.clear();
    }

    void RemoveIfTouching(PixelPosition at) {
        if (analysis_.IsBackgroundAround(at.x, at.y)) {
            RemoveRegion(at);
        }
    }

    /// The order of removals makes no difference: two regions that touch are one.
    void RemoveRegion(PixelPosition start) {
        Remove(start);
        for (PixelPosition at = start;;) {
            for (unsigned near = removable_.Neighbourhood(at.x, at.y); near != 0; near &= near - 1) {
                const int i = LowestBit(near);
                const PixelPosition next{at.x + i % 3 - 1, at.y + i / 3 - 1};
                Remove(next);
                stack_.push_back(next);
            }
            if (stack_.empty()) {
                return;
            }
            at = stack_.back();
            stack_.pop_back();
        }
    }

    /// Removes regions with a pixel above `level` next to some pixels of a word, as far as these are background still:
    /// they may have been touched since they were erased or cleared.
    void RemoveNextTo(int column, int y, Word pixels, float level) {
        const Word background = pixels & analysis_.BackgroundIn(column, y);
        RemoveAmong(column, y, DilateRow(background), level);
        if ((background & 1u) != 0 && column > 0) {
            RemoveAmong(column - 1, y, Word{1} << 63, level);
        }
        if (background >> 63 != 0 && column + 1 < Grid().WordsPerRow()) {
            RemoveAmong(column + 1, y, 1, level);
        }
    }

    /// Removes regions with a removable pixel above `level` among some pixels of a word, in row y and the two adjacent
    /// rows.
    void RemoveAmong(int column, int y, Word pixels, float level) {
        for (int v = y - 1; v <= y + 1; ++v) {
            const std::int32_t word = Grid().WordAt(column * 64, v);
            for (Word remaining = pixels; (remaining & removable_[word]) != 0; remaining &= remaining - 1) {
                remaining &= removable_[word];
                const int x = column * 64 + LowestBit(remaining);
                if (edges_[static_cast<std::ptrdiff_t>(v) * width_ + x] > level) {
                    RemoveRegion({x, v});
                }
            }
        }
    }

    /// Asserts the invariants of small maps and of all structures; nothing without KORVANE_ASSERTIONS.
    void CheckInvariants() const {
#ifdef KORVANE_ASSERTIONS
        if (Grid().Words() > kMostWordsChecked) {
            return;
        }
        removable_.CheckInvariants();
        for (int y = 0; y < height_; ++y) {
            for (int column = 0; column < Grid().WordsPerRow(); ++column) {
                const std::int32_t word = Grid().WordAt(column * 64, y);
                const Word open = components_.Open()[word];
                KORVANE_ASSERT((open & (analysis_.BackgroundIn(column, y) | analysis_.TouchedIn(column, y))) == 0);
                KORVANE_ASSERT((removable_[word] & ~open) == 0);
            }
        }
        components_.CheckInvariants();
        analysis_.CheckInvariants();
#endif
    }
    /// The same for invariant 3 after a removal, when nothing has been cleared or erased since.
    void CheckRemoved([[maybe_unused]] float level) const {
#ifdef KORVANE_ASSERTIONS
        if (Grid().Words() > kMostWordsChecked) {
            return;
        }
        for (int y = 0; y < height_; ++y) {
            for (int x = 0; x < width_; ++x) {
                const float value = edges_[static_cast<std::ptrdiff_t>(y) * width_ + x];
                KORVANE_ASSERT(!removable_.Has(x, y) || value >= level);
                KORVANE_ASSERT(!removable_.Has(x, y) || value == level || !analysis_.IsBackgroundAround(x, y));
            }
        }
#endif
    }

    const float* edges_;
    int width_;
    int height_;
    std::vector<float> levels_;
    ComponentSizes sizes_;
    ShrinkingComponents components_;
    LevelBuckets buckets_;
    EnclosedRegionAnalysis analysis_;
    BitPlane removable_;            // open, and at or above the level
    std::vector<WordPixels<BitGrid>> erased_;  // components that were too small, since the last removal
    std::vector<PixelPosition> stack_;
    std::vector<PixelPosition> removed_;  // pixels that the components have not been notified of
};

LevelSweep::LevelSweep(const MapView& edges, float openUpTo, const PixelMask& alsoOpen,
                       const std::vector<float>& levels, float levelStep, const ComponentSizes& sizes)
    : state_(std::make_unique<State>(edges, openUpTo, alsoOpen, levels, levelStep, sizes)) {}

LevelSweep::~LevelSweep() = default;

void LevelSweep::RemoveAbove(std::size_t level) { state_->RemoveAbove(level); }

void LevelSweep::RemoveConnected(std::size_t level) { state_->RemoveConnected(level); }

void LevelSweep::Sweep() { state_->Sweep(); }

PixelMask LevelSweep::Candidates() const {
    return state_->Mask([&](int column, int y) { return state_->Analysis().CandidatesIn(column, y); });
}

PixelMask LevelSweep::Rings() const {
    return state_->Mask([&](int column, int y) { return state_->Analysis().RingsIn(column, y); });
}

}  // namespace level_sweep
