#include "BranchPruning.h"

#include <cstring>

#include "NeighbourGroups.h"

namespace Korvane {
namespace {

unsigned GroupsAround(const CodePlane& plane, int x, int y) {
    unsigned code = 0;
    for (unsigned i = 0; i < 8; ++i) {
        code |= (plane.At(x + kAround[i].dx, y + kAround[i].dy) != 0 ? 1u : 0u) << i;
    }
    return kNeighbourGroups[code];
}

bool IsBranchEnd(const CodePlane& plane, int x, int y) {
    int ones = 0;
    for (const Step& step : kAround) {
        const PixelCode code = plane.At(x + step.dx, y + step.dy);
        if (code == kBeyondMap) {
            return false;
        }
        ones += code;
    }
    return ones == 1;
}

std::vector<PixelPosition> FindBranchEnds(const CodePlane& plane) {
    std::vector<PixelPosition> ends;
    for (int y = 0; y < plane.height; ++y) {
        const PixelCode* row = plane.Row(y);
        const PixelCode* rowEnd = row + plane.width;
        const PixelCode* found = row;
        while (found < rowEnd) {
            const void* hit = std::memchr(found, 1, static_cast<std::size_t>(rowEnd - found));
            if (hit == nullptr) {
                break;
            }
            found = static_cast<const PixelCode*>(hit);
            const int x = static_cast<int>(found - row);
            if (IsBranchEnd(plane, x, y)) {
                ends.push_back({x, y});
            }
            ++found;
        }
    }
    return ends;
}

}  // namespace

void BranchCounts::Add(std::int64_t number) {
    if (number >= 2) {
        ++counts_[static_cast<std::size_t>(number - 2)];
        return;
    }
    const auto index = static_cast<std::size_t>(1 - number);
    if (withoutEnd_.size() <= index) {
        withoutEnd_.resize(index + 1, 0);
    }
    ++withoutEnd_[index];
}

bool BranchCounts::AnyWithoutEndAbove(std::int64_t limit) const {
    for (const std::int64_t count : withoutEnd_) {
        if (count > 0 && count > limit) {
            return true;
        }
    }
    return false;
}

MarkedBranches PruneBranches(const CodePlane& skeleton, int limitPx) {
    const std::vector<PixelPosition> ends = FindBranchEnds(skeleton);
    BranchCounts counts(ends.size());
    std::vector<PixelPosition> stack = ends;
    std::int64_t number = static_cast<std::int64_t>(ends.size()) + 1;
    while (!stack.empty()) {
        const PixelPosition at = stack.back();
        stack.pop_back();
        skeleton.At(at.x, at.y) = 0;
        counts.Add(number);
        bool goesOn = false;
        for (const Step& step : kAround) {
            const PixelPosition next{at.x + step.dx, at.y + step.dy};
            if (skeleton.At(next.x, next.y) == 1 && GroupsAround(skeleton, next.x, next.y) == 1) {
                stack.push_back(next);
                goesOn = true;
            }
        }
        if (!goesOn) {
            --number;
        }
    }
    MarkedBranches marked;
    for (std::size_t i = 0; i < ends.size(); ++i) {
        if (counts.WithEnd()[i] > limitPx) {
            marked.ends.push_back(ends[i]);
        }
    }
    marked.mapOrigin = counts.AnyWithoutEndAbove(limitPx);
    return marked;
}

}  // namespace Korvane
