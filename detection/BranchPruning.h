#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "CodePlane.h"

namespace Korvane {

/// Code of a pixel beyond the map in a plane handed to PruneBranches.
inline constexpr PixelCode kBeyondMap = 2;

struct MarkedBranches {
    std::vector<PixelPosition> ends;  ///< ends, in the plane's own coordinates, of branches longer than the limit
    bool mapOrigin = false;           ///< the map's first pixel is marked too
};

/// Pixels counted per branch number. Numbers from 2 on have an end, lower ones do not.
class BranchCounts {
public:
    explicit BranchCounts(std::size_t ends) : counts_(ends, 0) {}
    void Add(std::int64_t number);
    const std::vector<std::int64_t>& WithEnd() const { return counts_; }
    bool AnyWithoutEndAbove(std::int64_t limit) const;

private:
    std::vector<std::int64_t> counts_;
    std::vector<std::int64_t> withoutEnd_;
};

/// Removes the open branches of a skeleton, tracing from their ends inwards and stopping before junctions; lines that
/// close on themselves stay.
/// @param skeleton 0/1 codes, changed in place. One more pixel on every side is read: kBeyondMap where the map ends
///                 there, 0 where it goes on without skeleton. A branch end never lies on the map's border.
/// @param limitPx  a branch is marked when more than this many pixels were counted for it
/// Counts are kept under a number that falls by one whenever a line ends. A fork lets more lines end than there were
/// ends; what is counted below the first number belongs to no end, and marks the map's first pixel instead.
MarkedBranches PruneBranches(const CodePlane& skeleton, int limitPx);

}  // namespace Korvane
