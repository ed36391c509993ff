#include "reference/CodeMaps.h"

#include <algorithm>
#include <cstring>

namespace korvane_reference {

void RunFlood::PushSeeds(const CodePlane& plane, int y, int x0, int x1, PixelCode from) {
    if (y < 0 || y >= plane.height) {
        return;
    }
    const PixelCode* row = plane.Row(y);
    const int last = std::min(x1, plane.width - 1);
    bool inside = false;
    for (int x = std::max(x0, 0); x <= last; ++x) {
        const bool match = row[x] == from;
        if (match && !inside) {
            stack_.push_back({x, y});
        }
        inside = match;
    }
}

std::int64_t RunFlood::Fill(const CodePlane& plane, int x, int y, PixelCode code, Connectivity connectivity,
                            std::vector<PixelRun>& filled) {
    const PixelCode from = plane.At(x, y);
    if (from == code) {
        return 0;
    }
    const int reach = connectivity == Connectivity::k8 ? 1 : 0;
    std::int64_t count = 0;
    stack_.clear();
    stack_.push_back({x, y});
    while (!stack_.empty()) {
        const Seed seed = stack_.back();
        stack_.pop_back();
        PixelCode* row = plane.Row(seed.y);
        if (row[seed.x] != from) {
            continue;
        }
        int x0 = seed.x;
        int x1 = seed.x;
        while (x0 > 0 && row[x0 - 1] == from) {
            --x0;
        }
        while (x1 + 1 < plane.width && row[x1 + 1] == from) {
            ++x1;
        }
        std::memset(row + x0, code, static_cast<std::size_t>(x1 - x0 + 1));
        filled.push_back({seed.y, x0, x1});
        count += x1 - x0 + 1;
        PushSeeds(plane, seed.y - 1, x0 - reach, x1 + reach, from);
        PushSeeds(plane, seed.y + 1, x0 - reach, x1 + reach, from);
    }
    return count;
}

}  // namespace korvane_reference
