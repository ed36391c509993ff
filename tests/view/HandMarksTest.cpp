#include "HandMarks.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "LabelEditing.h"
#include "MarkPainter.h"
#include "support/Random.h"

namespace {

using namespace Korvane;

constexpr std::uint64_t kWidth = 61;
constexpr std::uint64_t kHeight = 43;

bool SameMasks(const qvox::VoxelImage<bool>& a, const qvox::VoxelImage<bool>& b) {
    return a.SameSizes(b) && std::equal(a.begin(), a.end(), b.begin());
}

HandMarks::Dab DabAt(std::int64_t x, std::int64_t y, int radius, HandMarks::Stroke stroke) {
    return {{x, y}, {x, y}, radius, stroke, kWidth, kHeight};
}

/// The same by the brush that draws labels.
void PaintPlainly(const HandMarks::Dab& dab, qvox::LabelImage& labels) {
    EditingState state;
    state.brushRadiusPx = dab.radiusPx;
    qvox::LabelImage undo;
    std::uint16_t label = dab.stroke == HandMarks::Stroke::kMark ? 1 : 0;
    std::size_t count = 0;
    PaintDisc({labels, undo, label, count}, state, dab.to);
}

TEST(HandMarks, AreWhatTheBrushOfLabelsPaintsAndCanBeTakenBackAndMadeAgain) {
    for (unsigned seed = 0; seed < 20; ++seed) {
        std::mt19937 random(seed);
        const auto next = [&](int from, int to) {
            return from + static_cast<int>(random() % static_cast<unsigned>(to - from));
        };
        HandMarks marks;
        qvox::LabelImage plain;
        plain.Resize(kWidth, kHeight, 1);
        plain.Zero();
        std::vector<LabelChanges> steps;
        std::vector<qvox::VoxelImage<bool>> masks{marks.Mask(kWidth, kHeight)};
        for (int i = 0; i < 25; ++i) {
            const auto stroke = next(0, 3) == 0 ? HandMarks::Stroke::kErase : HandMarks::Stroke::kMark;
            // Also beyond every edge.
            const HandMarks::Dab dab = DabAt(next(-8, 70), next(-8, 50), next(1, 9), stroke);
            steps.emplace_back();
            marks.Paint(dab, steps.back());
            PaintPlainly(dab, plain);
            masks.push_back(marks.Mask(kWidth, kHeight));
            ASSERT_TRUE(std::equal(plain.begin(), plain.end(), masks.back().begin(), [](std::uint16_t label, bool is) {
                return (label != 0) == is;
            })) << "seed " << seed
                << ", step " << i;
            ASSERT_EQ(marks.PixelCount(), static_cast<std::uint64_t>(std::count(plain.begin(), plain.end(), 1)));
        }
        const HandMarks last = marks;
        for (std::size_t i = steps.size(); i-- > 0;) {
            marks.Apply(steps[i], ChangeDirection::kUndo, kWidth);
            ASSERT_TRUE(SameMasks(marks.Mask(kWidth, kHeight), masks[i])) << "seed " << seed << ", step " << i;
        }
        EXPECT_TRUE(marks.Empty());
        for (const LabelChanges& step : steps) marks.Apply(step, ChangeDirection::kRedo, kWidth);
        EXPECT_TRUE(SameMasks(marks.Mask(kWidth, kHeight), masks.back())) << "seed " << seed;
        const HandMarks read = HandMarks::FromMask(masks.back());
        EXPECT_TRUE(SameMasks(read.Mask(kWidth, kHeight), masks.back())) << "seed " << seed;
        // From one of the states to another.
        HandMarks between = HandMarks::FromMask(masks[10]);
        between.Apply(between.DifferenceTo(last, kWidth), ChangeDirection::kRedo, kWidth);
        EXPECT_TRUE(SameMasks(between.Mask(kWidth, kHeight), masks.back())) << "seed " << seed;
    }
}

TEST(HandMarks, AQuickStrokeLeavesNoGaps) {
    HandMarks marks;
    LabelChanges changes;
    const PixelRectangle part = marks.Paint({{5, 20}, {55, 24}, 3, HandMarks::Stroke::kMark, kWidth, kHeight}, changes);
    for (std::uint64_t x = 5; x <= 55; ++x) {
        bool isMarked = false;
        const qvox::VoxelImage<bool> mask = marks.Mask(kWidth, kHeight);
        for (std::uint64_t y = 18; y < 27; ++y) isMarked = isMarked || mask(x, y);
        EXPECT_TRUE(isMarked) << x;
    }
    EXPECT_EQ(part.x, 3u);
    EXPECT_EQ(part.width, 55u);
    const PixelRectangle bounds = marks.Bounds();
    EXPECT_EQ(bounds.x, part.x);
    EXPECT_EQ(bounds.width, part.width);
    EXPECT_EQ(bounds.y, part.y);
    EXPECT_EQ(bounds.height, part.height);
    LabelChanges none;
    marks.Paint({{5, 20}, {55, 24}, 3, HandMarks::Stroke::kMark, kWidth, kHeight}, none);
    EXPECT_TRUE(none.Empty()) << "all of it is marked already";
}

/// A view of all of the image on black.
std::string Painted(const HandMarks& marks, float zoom, const WindowRectangle& part) {
    ColourPicture painted;
    painted.Resize(static_cast<std::uint64_t>(part.width), static_cast<std::uint64_t>(part.height), 1);
    painted.Zero();
    PaintMarks(marks, {0, 0, zoom}, part, painted);
    std::string text;
    for (int y = 0; y < part.height; ++y) {
        for (int x = 0; x < part.width; ++x) {
            const qvox::Rgb8 colour = painted(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y));
            text += colour == kMarkColour ? 'O' : colour == qvox::Rgb8{127, 100, 0} ? 'o' : colour.r == 0 ? '.' : '?';
        }
        text += '\n';
    }
    return text;
}

TEST(HandMarks, ArePaintedWithAnOutlineThatPartsOfAViewAgreeOn) {
    HandMarks marks;
    LabelChanges changes;
    marks.Paint({{4, 3}, {4, 3}, 3, HandMarks::Stroke::kMark, kWidth, kHeight}, changes);
    EXPECT_EQ(Painted(marks, 1.0f, {0, 0, 9, 7}),
              ".........\n"
              "..OOOOO..\n"
              "..OoooO..\n"
              "..OoooO..\n"
              "..OoooO..\n"
              "..OOOOO..\n"
              ".........\n");
    EXPECT_EQ(Painted(marks, 1.0f, {4, 2, 3, 2}), "ooO\nooO\n");
    EXPECT_EQ(Painted(marks, 1.0f, {8, 0, 3, 2}), "...\n...\n");
    const std::string large = Painted(marks, 2.0f, {0, 0, 18, 14});
    EXPECT_EQ(std::count(large.begin(), large.end(), '?'), 0);
    EXPECT_EQ(std::count(large.begin(), large.end(), 'O') + std::count(large.begin(), large.end(), 'o'), 4 * 25);
}

}  // namespace
