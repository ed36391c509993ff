#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bits/ZeroedArray.h"
#include "skeleton/BlockGrid.h"
#include "skeleton/BlockNeighbourhood.h"
#include "skeleton/BlockSides.h"
#include "skeleton/PixelBlock.h"

namespace level_sweep {

/// The blocks in which the record of thinning differs from before an update, and how.
class ThinningDifferences {
public:
    /// The part of a block in an update.
    struct State {
        std::int32_t difference;       // index + 1 into All(); 0 if the block is the same as before
        std::int32_t changedAround;    // the last step in which a difference near the block changed
        std::uint32_t differingSides;  // sides at which the block differs from before
        bool isAtBorder;               // BlockGrid::IsAtBorder
    };
    struct Difference {
        std::int32_t block;
        std::int32_t changed;     // the last step in which `pixels` changed
        std::int32_t nearSince;   // the step in which `near` was computed
        PixelBlock pixels;        // set after the last computed step now but not before the update, or the other way
        BlockNeighbourhood near;  // of the different pixels of this block and around it
    };

    explicit ThinningDifferences(const BlockGrid& grid) : grid_(grid), states_(grid.Blocks()) {}

    State& StateOf(std::int32_t block) { return states_[static_cast<std::size_t>(block)]; }
    const State& StateOf(std::int32_t block) const { return states_[static_cast<std::size_t>(block)]; }
    bool Has(std::int32_t block) const { return StateOf(block).difference != 0; }
    /// Of a block that has one.
    Difference& Of(const State& state) { return differences_[static_cast<std::size_t>(state.difference) - 1]; }
    const Difference& Of(const State& state) const {
        return differences_[static_cast<std::size_t>(state.difference) - 1];
    }
    /// In the order in which the blocks were noted.
    const std::vector<Difference>& All() const { return differences_; }

    /// The difference of a block, at first without pixels.
    Difference& Note(std::int32_t block) {
        State& state = StateOf(block);
        if (state.difference == 0) {
            Difference difference{};
            difference.block = block;
            differences_.push_back(difference);
            state.difference = static_cast<std::int32_t>(differences_.size());
            state.changedAround = 0;
        }
        return Of(state);
    }
    /// After a change of the difference's pixels.
    void UpdateSides(const Difference& difference) {
        StateOf(difference.block).differingSides = SidesOf(difference.pixels);
    }
    /// Ends an update.
    void Clear();

    /// Whether one of the eight adjacent blocks differs at its side towards this one.
    bool AnyAround(std::int32_t block) const;
    /// Computes `near` for a step.
    void FindNear(Difference& difference, int step) const;

    /// Fetches ahead the states above and below a block.
    void FetchAround(std::int32_t block) const {
        __builtin_prefetch(&StateOf(block - grid_.Stride()));
        __builtin_prefetch(&StateOf(block + grid_.Stride()));
    }

private:
    BlockGrid grid_;
    ZeroedArray<State> states_;
    std::vector<Difference> differences_;
};

}  // namespace level_sweep
