#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bits/BitGrid.h"

namespace level_sweep {

/// The floods of one component in their order, the patches that each relabels, and the clusters of floods that these
/// patches connect.
///
/// Invariants:
/// 1. The floods are a forest: following `parent` from any flood ends at a root, which is its own parent. Floods are of
///    one cluster exactly if they have the same root.
/// 2. The ranges of relabelled patches follow each other in the order of the floods and cover all patches noted; only
///    the present flood's is still open.
/// 3. A finished flood with relabelled patches is listed in untraversed_, once, until TakeUntraversed returned it.
class FloodClusters {
public:
    using Word = BitGrid::Word;
    /// Pieces of one of a tile's masks.
    struct Pieces {
        std::int32_t tile;
        std::int32_t mask;
        Word pieces;
    };
    struct Range {
        std::size_t first;
        std::size_t end;
    };

    /// Forgets all floods.
    void Clear();
    /// Begins a flood, which is a cluster of its own.
    void Begin();
    void Finish();
    /// The number of the present flood, from 0 on.
    std::int32_t Present() const { return static_cast<std::int32_t>(floods_.size()) - 1; }

    /// Notes patches that the present flood relabels.
    void AddRelabelled(const Pieces& patches) { relabelled_.push_back(patches); }
    /// All that were noted, flood by flood.
    const std::vector<Pieces>& Relabelled() const { return relabelled_; }

    /// Joins the clusters of a flood and of the present one.
    void Join(std::int32_t flood);
    /// Whether the present flood was joined with any.
    bool HasJoined() const { return hasJoined_; }
    /// Of some earlier flood of the present cluster, each only once, the relabelled patches; returns whether there is
    /// one.
    bool TakeUntraversed(Range& patches);

    void CheckInvariants() const;

private:
    struct Flood {
        std::int32_t parent;
        Range relabelled;
    };
    std::int32_t RootOf(std::int32_t flood);

    std::vector<Flood> floods_;
    std::vector<Pieces> relabelled_;
    std::vector<std::int32_t> untraversed_;
    std::size_t next_ = 0;   // in untraversed_: the pass of TakeUntraversed goes on here
    bool hasFound_ = false;  // in this pass
    bool hasJoined_ = false;
    bool isOpen_ = false;
};

}  // namespace level_sweep
