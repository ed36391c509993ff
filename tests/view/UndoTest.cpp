#include <gtest/gtest.h>

#include <optional>
#include <random>

#include "LabelEditing.h"
#include "support/TestImages.h"

namespace Korvane {

namespace {

using korvane_test::SameVoxels;
using qvox::LabelImage;

/// One position edited by the tools, beside whole copies taken as a plain program would take them.
struct Session {
    Session(std::mt19937& generator, std::uint64_t width, std::uint64_t height) : random(generator) {
        labels.Resize(width, height, 1);
        labels.Zero();
        Scribble();
    }

    EditedPosition Position() { return {labels, undo, current, count}; }

    /// Labels changed by something else than the tools.
    void Scribble() {
        for (int i = 0; i < 50; ++i) labels[random() % labels.VoxelCount()] = static_cast<std::uint16_t>(random() % 5);
    }

    ImagePoint Point() {
        return {static_cast<float>(random() % (labels.SizeX() + 20)) - 10.0f,
                static_cast<float>(random() % (labels.SizeY() + 20)) - 10.0f};
    }

    void Press() {
        state.mode = random() % 2 == 0 ? DrawingMode::kBrush : DrawingMode::kContour;
        state.brushRadiusPx = 1 + static_cast<int>(random() % 40);
        plainUndo = labels;
        PressLeft(Position(), state, Point());
        for (auto i = random() % 5; i > 0; --i) DragLeft(Position(), state, Point());
        ReleaseLeft(Position(), state);
    }

    void Repaint() {
        const ImagePoint point = Point();
        const LabelImage before = labels;
        const Pixel pixel = PixelAt(point);
        const PixelRectangle changed = RepaintComponent(Position(), state, point);
        const bool inside = pixel.x >= 0 && pixel.y >= 0 && pixel.x < static_cast<std::int64_t>(labels.SizeX()) &&
                            pixel.y < static_cast<std::int64_t>(labels.SizeY());
        if (inside) plainUndo = before;
        for (std::uint64_t i = 0; i < labels.VoxelCount(); ++i) {
            const auto [x, y, z] = labels.Coordinates(i);
            const bool in = x - changed.x < changed.width && y - changed.y < changed.height && z == 0;
            ASSERT_TRUE(in || labels[i] == before[i]) << "a change outside the rectangle that was told";
        }
    }

    void Undo() {
        const LabelImage expected = plainUndo ? *plainUndo : labels;
        const qvox::LabelImage shown = labels;
        PixelRectangle box;
        EXPECT_EQ(UndoEdit(Position(), state, &box), plainUndo ? EditResult::kRepaint : EditResult::kNothing);
        std::uint64_t outside = 0;
        for (std::uint64_t i = 0; i < labels.VoxelCount(); ++i) {
            if (shown.begin()[i] == labels.begin()[i]) continue;
            const auto [x, y, z] = labels.Coordinates(i);
            outside += x - box.x < box.width && y - box.y < box.height && z == 0 ? 0u : 1u;
        }
        EXPECT_EQ(outside, 0u) << "changes outside the box";
        ASSERT_TRUE(SameVoxels(expected, labels));
        plainUndo.reset();
    }

    void ExpectTrueCensus() {
        LabelCensus anew;
        anew.Ensure(labels);
        state.census.Ensure(labels);
        ASSERT_EQ(state.census.ObjectCount(), anew.ObjectCount());
        for (std::uint16_t label = 0; label < 12; ++label) {
            ASSERT_EQ(state.census.VoxelCount(label), anew.VoxelCount(label)) << label;
        }
        const auto known = state.census.Anchors();
        const auto expected = anew.Anchors();
        ASSERT_EQ(known.size(), expected.size());
        for (std::size_t i = 0; i < known.size(); ++i) {
            ASSERT_EQ(known[i].x, expected[i].x);
            ASSERT_EQ(known[i].y, expected[i].y);
        }
    }

    std::mt19937& random;
    LabelImage labels;
    LabelImage undo;
    std::uint16_t current = 1;
    std::size_t count = 0;
    EditingState state;
    std::optional<LabelImage> plainUndo;
};

TEST(UndoCopy, EqualsAWholeCopyTakenAtTheSameMomentWhateverHappensBetween) {
    for (unsigned seed = 0; seed < 40; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        Session session(random, 1 + random() % 420, 1 + random() % 420);
        for (int step = 0; step < 60; ++step) {
            session.current = static_cast<std::uint16_t>(random() % 6);
            switch (random() % 8) {
                case 0:
                    ASSERT_NO_FATAL_FAILURE(session.Undo());
                    break;
                case 1:
                    ASSERT_NO_FATAL_FAILURE(session.Repaint());
                    break;
                case 2:
                    session.plainUndo = session.labels;
                    ClearLabels(session.Position(), session.state);
                    break;
                case 3:
                    session.Scribble();
                    LabelsReplaced(session.state);
                    break;
                case 4:
                    session.state.undo.Prepare(session.labels, session.undo, random() % 40000);
                    break;
                default:
                    session.Press();
            }
            ASSERT_EQ(session.undo.Empty(), !session.plainUndo.has_value()) << step;
            if (session.plainUndo) {
                ASSERT_TRUE(SameVoxels(*session.plainUndo, session.undo)) << step;
            }
            ASSERT_NO_FATAL_FAILURE(session.ExpectTrueCensus()) << step;
        }
    }
}

TEST(UndoCopy, CarriesThePropertiesOfTheLabels) {
    std::mt19937 random(1);
    Session session(random, 30, 20);
    session.labels.SetResolution({5.0f, 6.0f, 0.0f});
    session.labels.SetMetadata({{"key", "value"}});
    TakeUndoCopy(session.Position(), session.state);
    EXPECT_EQ(session.undo.Resolution().y, 6.0f);
    EXPECT_EQ(session.undo.Metadata().at("key"), "value");
    session.labels.SetMetadata({});
    TakeUndoCopy(session.Position(), session.state);
    EXPECT_TRUE(session.undo.Metadata().empty());
}

TEST(UndoCopy, OfLabelsOfAnotherSizeIsACopyOfThose) {
    std::mt19937 random(1);
    Session session(random, 30, 20);
    TakeUndoCopy(session.Position(), session.state);
    session.labels.Resize(20, 30, 1);
    session.Scribble();
    LabelsReplaced(session.state);
    TakeUndoCopy(session.Position(), session.state);
    EXPECT_TRUE(SameVoxels(session.labels, session.undo));
    session.undo.Release();
    session.labels.Resize(300, 7, 1);
    session.Scribble();
    TakeUndoCopy(session.Position(), session.state);
    EXPECT_TRUE(SameVoxels(session.labels, session.undo));
}

TEST(UndoCopy, PreparedInPartsIsDoneAfterTheWholeImage) {
    std::mt19937 random(1);
    Session session(random, 500, 300);
    int parts = 1;
    while (session.state.undo.Prepare(session.labels, session.undo, 20000) == UndoBase::Progress::kMore) ++parts;
    EXPECT_GT(parts, 3);
    EXPECT_TRUE(session.undo.Empty()) << "nothing to undo yet";
    const LabelImage before = session.labels;
    session.Press();
    EXPECT_TRUE(SameVoxels(before, session.undo));
    EXPECT_EQ(session.state.undo.Prepare(session.labels, session.undo, 1), UndoBase::Progress::kDone)
        << "the copy that is kept must not follow the labels";
    EXPECT_TRUE(SameVoxels(before, session.undo));
}

TEST(Undo, TwiceInARowRestoresOnlyOnce) {
    std::mt19937 random(1);
    Session session(random, 200, 200);
    session.Press();
    const LabelImage first = session.labels;
    session.current = 7;
    session.Press();
    UndoEdit(session.Position(), session.state);
    EXPECT_TRUE(SameVoxels(first, session.labels));
    EXPECT_EQ(UndoEdit(session.Position(), session.state), EditResult::kNothing);
    EXPECT_TRUE(SameVoxels(first, session.labels));
}

}  // namespace

}  // namespace Korvane
