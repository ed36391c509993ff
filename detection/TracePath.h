#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "BranchPruning.h"

namespace Korvane {

/// The pixels that a trace took, in its order, a byte for each that is less than 8 rows and columns from the one
/// before, or from the end for the first. Traces run along lines: only what follows a fork can be further away.
class TracePath {
public:
    using Code = std::uint8_t;

    void Begin(PixelPosition end) {
        codes_.clear();
        last_ = end;
    }
    void Add(PixelPosition at) {
        const int dx = at.x - last_.x;
        const int dy = at.y - last_.y;
        last_ = at;
        if (dx > -kReach && dx < kReach && dy > -kReach && dy < kReach) {
            codes_.push_back(static_cast<Code>((dy + kReach) * 16 + dx + kReach));
            return;
        }
        const std::size_t size = codes_.size();
        codes_.resize(size + 1 + sizeof(PixelPosition), kFar);
        std::memcpy(codes_.data() + size + 1, &at, sizeof(at));
    }
    const std::vector<Code>& Codes() const { return codes_; }

    /// Calls visit(position) for each pixel of a path from an end.
    template <typename Visit>
    static void ForEach(PixelPosition end, const Code* codes, std::size_t size, Visit visit) {
        PixelPosition at = end;
        for (std::size_t i = 0; i < size; ++i) {
            if (codes[i] == kFar) {
                std::memcpy(&at, codes + i + 1, sizeof(at));
                i += sizeof(at);
            } else {
                at.x += codes[i] % 16 - kReach;
                at.y += codes[i] / 16 - kReach;
            }
            visit(at);
        }
    }

private:
    static constexpr int kReach = 8;
    static constexpr Code kFar = 0;  // the position follows

    std::vector<Code> codes_;
    PixelPosition last_{0, 0};
};

}  // namespace Korvane
