#include "operations/BasinFlood.h"

#include <numeric>
#include <utility>

namespace qvox {

namespace {

class Flooding {
public:
    explicit Flooding(std::size_t basins) : sets_(basins), nextInSet_(basins) {
        flood_.lakeOfBasin.assign(basins, BasinFlood::kDry);
        std::iota(nextInSet_.begin(), nextInSet_.end(), std::uint32_t{0});
    }

    void Take(const BasinPass& pass) {
        const std::uint32_t a = sets_.Root(pass.a);
        const std::uint32_t b = sets_.Root(pass.b);
        if (pass.a == pass.b) {
            if (IsDry(a)) Fill(a, pass);
        } else if (a != b && IsDry(a) && IsDry(b)) {
            // Two rings become one.
            std::swap(nextInSet_[a], nextInSet_[b]);
            sets_.Join(a, b);
        } else if (IsDry(a) != IsDry(b)) {
            Fill(IsDry(a) ? a : b, pass);
        }
    }
    BasinFlood Result() { return std::move(flood_); }

private:
    bool IsDry(std::uint32_t basin) const { return flood_.lakeOfBasin[basin] == BasinFlood::kDry; }

    void Fill(std::uint32_t dry, const BasinPass& pass) {
        const auto lake = static_cast<std::uint32_t>(flood_.lakes.size());
        flood_.lakes.push_back({pass.level, pass.voxel});
        std::uint32_t basin = dry;
        do {
            flood_.lakeOfBasin[basin] = lake;
            basin = nextInSet_[basin];
        } while (basin != dry);
    }

    BasinSets sets_;                        // of dry basins
    std::vector<std::uint32_t> nextInSet_;  // the basins of a set are a ring
    BasinFlood flood_;
};

}  // namespace

BasinFlood FloodBasins(std::vector<BasinPass> passes, std::size_t basins) {
    SortByLevel(passes);
    Flooding flooding(basins);
    for (const BasinPass& pass : passes) flooding.Take(pass);
    return flooding.Result();
}

}  // namespace qvox
