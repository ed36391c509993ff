#include "ObjectMatching.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>

#include "LabelComparison.h"
#include "support/Random.h"
#include "support/TestImages.h"

namespace Korvane {

namespace {

using korvane_test::Draw;

LabelOverlaps Overlaps(const qvox::LabelImage& truth, const qvox::LabelImage& found) {
    return FindOverlaps(truth, found);
}

/// Rectangles over one another, later ones on top.
qvox::LabelImage RandomRectangles(std::mt19937& random, int count) {
    qvox::LabelImage labels;
    labels.Resize(14, 12, 1);
    labels.Zero();
    for (int label = 1; label <= count; ++label) {
        const int x = korvane_test::UniformInt(random, 0, 10);
        const int y = korvane_test::UniformInt(random, 0, 8);
        for (int dy = 0; dy < korvane_test::UniformInt(random, 2, 4); ++dy) {
            for (int dx = 0; dx < 4; ++dx) {
                labels(static_cast<std::uint64_t>(x + dx), static_cast<std::uint64_t>(y + dy)) =
                    static_cast<std::uint16_t>(label);
            }
        }
    }
    return labels;
}

struct Best {
    std::size_t matches = 0;
    double iou = 0.0;
};

/// The most matches and their largest sum, by trying every choice.
Best TryAll(const LabelOverlaps& objects, double threshold) {
    std::vector<bool> truthTaken(objects.truth.size(), false);
    std::vector<bool> foundTaken(objects.found.size(), false);
    const std::function<Best(std::size_t)> from = [&](std::size_t next) -> Best {
        if (next == objects.overlaps.size()) return {};
        Best best = from(next + 1);
        const ObjectOverlap& overlap = objects.overlaps[next];
        const double iou = IntersectionOverUnion(objects, overlap);
        if (iou < threshold || truthTaken[overlap.truth] || foundTaken[overlap.found]) return best;
        truthTaken[overlap.truth] = foundTaken[overlap.found] = true;
        Best with = from(next + 1);
        truthTaken[overlap.truth] = foundTaken[overlap.found] = false;
        ++with.matches;
        with.iou += iou;
        const bool isBetter = with.matches != best.matches ? with.matches > best.matches : with.iou > best.iou;
        return isBetter ? with : best;
    };
    return from(0);
}

TEST(ObjectMatching, IsTheBestOfAllAssignments) {
    std::mt19937 random(7);
    std::size_t severalWays = 0;
    for (int trial = 0; trial < 400; ++trial) {
        const LabelOverlaps objects = Overlaps(RandomRectangles(random, 4), RandomRectangles(random, 4));
        for (const double threshold : {0.05, 0.2, 0.5, 0.8}) {
            const ObjectMatching matching = MatchObjects(objects, threshold);
            const Best best = TryAll(objects, threshold);
            ASSERT_EQ(matching.matches.size(), best.matches) << "trial " << trial << ", threshold " << threshold;
            double sum = 0.0;
            for (const ObjectMatch& match : matching.matches) sum += match.iou;
            ASSERT_NEAR(sum, best.iou, 1e-8) << "trial " << trial << ", threshold " << threshold;
            ASSERT_TRUE(std::is_sorted(matching.matches.begin(), matching.matches.end(),
                                       [](const auto& a, const auto& b) { return a.truth < b.truth; }));
            ASSERT_EQ(matching.matches.size() + matching.missed.size(), objects.truth.size());
            ASSERT_EQ(matching.matches.size() + matching.extra.size(), objects.found.size());
            severalWays += objects.overlaps.size() > best.matches ? 1u : 0u;
        }
    }
    EXPECT_GT(severalWays, 500u) << "the trials are too easy";
}

TEST(ObjectMatching, AnOverlapOfExactlyTheThresholdCounts) {
    const LabelOverlaps objects = Overlaps(Draw<std::uint16_t>({"22.."}), Draw<std::uint16_t>({".5.."}));
    EXPECT_EQ(MatchObjects(objects, 0.5).matches.size(), 1u);
    EXPECT_EQ(MatchObjects(objects, 0.5000001).matches.size(), 0u);
}

TEST(ObjectMatching, TellsSplitAndMergedObjects) {
    const qvox::LabelImage one = Draw<std::uint16_t>({"111111", "111111"});
    const qvox::LabelImage two = Draw<std::uint16_t>({"222333", "222333"});
    const ObjectMatching split = MatchObjects(Overlaps(one, two), 0.5);
    EXPECT_EQ(split.split, std::vector<std::size_t>{0});
    EXPECT_TRUE(split.merged.empty());
    const ObjectMatching merged = MatchObjects(Overlaps(two, one), 0.5);
    EXPECT_EQ(merged.merged, std::vector<std::size_t>{0});
    EXPECT_TRUE(merged.split.empty());
}

TEST(ObjectMatching, ACrumbMakesNoSplit) {
    const qvox::LabelImage one = Draw<std::uint16_t>({"111111111111"});
    EXPECT_TRUE(MatchObjects(Overlaps(one, Draw<std::uint16_t>({"222222222223"}))).split.empty());
    EXPECT_EQ(MatchObjects(Overlaps(one, Draw<std::uint16_t>({"222222222233"}))).split.size(), 1u);
}

TEST(LabelComparison, ObjectsAtTheEdgeAreCountedApart) {
    const qvox::LabelImage truth = Draw<std::uint16_t>({"11........",  //
                                                        "11........",  //
                                                        "....22.3..",  //
                                                        "....22.3..",  //
                                                        "..........",  //
                                                        ".........."});
    qvox::LabelImage found = Draw<std::uint16_t>({"..........",  //
                                                  ".4........",  //
                                                  "....66....",  //
                                                  "....6...7.",  //
                                                  "..........",  //
                                                  ".........."});
    found.SetResolution({1000.0f, 1000.0f, 0.0f});
    const LabelComparison comparison = CompareLabels(truth, found);
    EXPECT_EQ(comparison.inside.matched, 1u);
    EXPECT_EQ(comparison.inside.missed, 1u);
    EXPECT_EQ(comparison.inside.extra, 0u);
    EXPECT_EQ(comparison.inside.iouSum, 0.75);
    EXPECT_EQ(comparison.atEdge.matched, 0u);
    EXPECT_EQ(comparison.atEdge.missed, 1u);
    EXPECT_EQ(comparison.atEdge.extra, 2u);
    ASSERT_EQ(comparison.diameters.size(), 1u);
    EXPECT_NEAR(comparison.diameters[0].trueNm, std::sqrt(16.0 / 3.141592653589793), 1e-12);
    EXPECT_NEAR(comparison.diameters[0].foundNm, std::sqrt(12.0 / 3.141592653589793), 1e-12);
    EXPECT_EQ(TallyInside(comparison.objects).missed, comparison.inside.missed);
}

TEST(LabelComparison, ImagesOfOtherSizesAreRefused) {
    EXPECT_THROW(CompareLabels(Draw<std::uint16_t>({"11"}), Draw<std::uint16_t>({"1", "1"})), qvox::ToolkitError);
    qvox::LabelImage stack;
    stack.Resize(2, 2, 2);
    stack.Zero();
    EXPECT_THROW(CompareLabels(stack, stack), qvox::ToolkitError);
}

}  // namespace

}  // namespace Korvane
