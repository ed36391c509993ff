#include "network/FloodClusters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "ChangingSets.h"

namespace {

using korvane_test::Between;
using level_sweep::FloodClusters;

/// Floods with the number of their cluster and the patches each relabelled, joined by renumbering.
struct PlainClusters {
    std::vector<int> clusterOf;
    std::vector<std::vector<std::int32_t>> tiles;
    std::vector<bool> isTraversed;

    void Join(std::size_t flood) {
        const int from = clusterOf[flood];
        std::replace(clusterOf.begin(), clusterOf.end(), from, clusterOf.back());
    }
};

TEST(FloodClusters, PatchesOfAClusterAreTraversedOnceWhenAFloodJoinsIt) {
    for (std::uint32_t seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        FloodClusters clusters;
        PlainClusters plain;
        std::int32_t tile = 0;
        for (int flood = 0; flood < 30; ++flood) {
            clusters.Begin();
            plain.clusterOf.push_back(flood);
            plain.tiles.emplace_back();
            plain.isTraversed.push_back(false);
            ASSERT_EQ(clusters.Present(), flood);
            const auto relabel = [&] {
                clusters.AddRelabelled({tile, 0, 1});
                plain.tiles.back().push_back(tile++);
            };
            const auto join = [&] {
                const int other = Between(random, 0, flood);
                clusters.Join(other);
                plain.Join(static_cast<std::size_t>(other));
            };
            for (int i = Between(random, 0, 2); i > 0; --i) relabel();
            const int joins = Between(random, 0, 2);
            for (int i = 0; i < joins; ++i) join();
            ASSERT_EQ(clusters.HasJoined(), joins > 0);
            std::vector<std::int32_t> traversed;
            FloodClusters::Range patches{};
            while (joins > 0 && clusters.TakeUntraversed(patches)) {
                for (std::size_t i = patches.first; i < patches.end; ++i) {
                    traversed.push_back(clusters.Relabelled()[i].tile);
                }
                if (Between(random, 0, 4) == 0) join();
                if (Between(random, 0, 4) == 0) relabel();
            }
            std::vector<std::int32_t> expected;
            for (std::size_t k = 0; joins > 0 && k + 1 < plain.clusterOf.size(); ++k) {
                if (plain.clusterOf[k] != plain.clusterOf.back() || plain.isTraversed[k]) continue;
                plain.isTraversed[k] = true;
                expected.insert(expected.end(), plain.tiles[k].begin(), plain.tiles[k].end());
            }
            std::sort(traversed.begin(), traversed.end());
            ASSERT_EQ(traversed, expected) << "flood " << flood;
            clusters.Finish();
            clusters.CheckInvariants();
        }
        clusters.Clear();
        ASSERT_TRUE(clusters.Relabelled().empty());
        ASSERT_EQ(clusters.Present(), -1);
    }
}

}  // namespace
