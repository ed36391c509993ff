#pragma once

#include <cstdint>
#include <vector>

#include "CodePlane.h"
#include "ThinningRemoval.h"

namespace Korvane {

/// Two-subiteration thinning to lines one pixel wide (Guo and Hall, 1989), on 0/1 codes.
class Thinning {
public:
    /// Thins `plane` in place until a pass changes nothing. The plane is surrounded by one more pixel on every side,
    /// which is read, never changed. `pixels` lists (as offsets from plane.data) every pixel that holds 1.
    /// Cost: proportional to `pixels` plus what is removed, not to the area of the plane.
    void Run(const CodePlane& plane, const std::vector<std::ptrdiff_t>& pixels);

private:
    void Subiteration(const CodePlane& plane, int parity, const std::vector<std::ptrdiff_t>& pixels);
    void QueueAround(const CodePlane& plane);

    std::vector<std::ptrdiff_t> pending_[2];  // to be looked at by the next subiteration of each parity
    std::vector<std::ptrdiff_t> taken_;
    std::vector<std::ptrdiff_t> marked_;
    std::vector<std::uint8_t> queued_;  // bit p: is in pending_[p]
};

}  // namespace Korvane
