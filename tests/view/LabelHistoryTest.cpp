#include "LabelHistory.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "LabelEditing.h"
#include "ToolkitError.h"
#include "support/Random.h"

namespace {

using namespace Korvane;
using qvox::LabelImage;

std::uint64_t Below(std::mt19937& random, int end) {
    return static_cast<std::uint64_t>(korvane_test::UniformInt(random, 0, end - 1));
}

LabelImage Blank(std::uint64_t width, std::uint64_t height) {
    LabelImage labels;
    labels.Resize(width, height, 1);
    labels.Zero();
    return labels;
}

/// Labels in runs, with few values, as results have them.
LabelImage RandomLabels(std::mt19937& random, std::uint64_t width, std::uint64_t height) {
    LabelImage labels = Blank(width, height);
    std::uint16_t label = 0;
    for (std::uint16_t& voxel : labels) {
        if (Below(random, 5) == 0) label = static_cast<std::uint16_t>(Below(random, 3) == 0 ? Below(random, 65536) : 0);
        voxel = label;
    }
    return labels;
}

bool Same(const LabelImage& a, const LabelImage& b) { return std::equal(a.begin(), a.end(), b.begin(), b.end()); }

std::vector<LabelRun> RunsOf(const LabelChanges& changes) {
    std::vector<LabelRun> runs;
    changes.ForEach([&](const LabelRun& run) { runs.push_back(run); });
    return runs;
}

TEST(LabelChanges, RemovalTakesSomeLabelsAndNoOther) {
    std::mt19937 random(11);
    for (int i = 0; i < 50; ++i) {
        const LabelImage before = RandomLabels(random, 1 + Below(random, 30), 1 + Below(random, 20));
        const std::vector<std::uint16_t> removed{before[0], before[before.VoxelCount() / 2], 0};
        LabelImage after(before);
        ApplyChanges(RemovalOf(before, removed), ChangeDirection::kRedo, after);
        for (std::uint64_t at = 0; at < before.VoxelCount(); ++at) {
            const bool isRemoved = std::find(removed.begin(), removed.end(), before[at]) != removed.end();
            ASSERT_EQ(after[at], isRemoved ? 0 : before[at]);
        }
        ApplyChanges(RemovalOf(before, removed), ChangeDirection::kUndo, after);
        EXPECT_TRUE(Same(after, before));
    }
    EXPECT_TRUE(RemovalOf(Blank(3, 3), {0}).Empty());
}

TEST(LabelChanges, KeepTheirRunsInOrderForwardsAndBackwards) {
    std::mt19937 random(7);
    LabelChanges changes;
    std::vector<LabelRun> wanted;
    for (int i = 0; i < 5000; ++i) {
        LabelRun run{Below(random, 1 << 26), 1 + Below(random, 300), static_cast<std::uint16_t>(Below(random, 3)), 0};
        run.after = static_cast<std::uint16_t>(run.before + 1 + Below(random, 60000));
        changes.Add(run);
        wanted.push_back(run);
    }
    EXPECT_EQ(RunsOf(changes), wanted);
    std::vector<LabelRun> reversed;
    changes.ForEachReversed([&](const LabelRun& run) { reversed.push_back(run); });
    std::reverse(wanted.begin(), wanted.end());
    EXPECT_EQ(reversed, wanted);
    EXPECT_EQ(changes.RunCount(), 5000u);
    EXPECT_EQ(RunsOf(LabelChanges::FromPacked(changes.Packed(), 1u << 27)), RunsOf(changes));
}

TEST(LabelChanges, ReversedInPartsAreThoseReversedAtOnce) {
    for (const std::uint64_t count : {0u, 1u, 1024u, 150000u}) {
        LabelChanges changes;
        for (std::uint64_t i = 0; i < count; ++i) {
            const auto label = static_cast<std::uint16_t>(i % 5);
            changes.Add({i * 7 % 100000, 1 + i % 3, label, static_cast<std::uint16_t>(label + 1)});
        }
        const auto part = changes.ReversedInParts();
        const LabelChanges::SharedBytes before = changes.Share();
        // What is added meanwhile does not count.
        changes.Add({5, 5, 1, 2});
        LabelChanges::SharedBytes reversed;
        int parts = 0;
        for (; reversed == nullptr; ++parts) {
            ASSERT_LT(parts, 10);
            reversed = part();
        }
        EXPECT_EQ(parts > 1, count > 100000u);
        EXPECT_EQ(*reversed, LabelChanges::FromPacked(*before, 1u << 20).Reversed().Packed()) << count;
    }
}

TEST(LabelChanges, CopiesShareTheirBytesUntilOneIsAddedTo) {
    LabelChanges changes;
    changes.Add({10, 5, 0, 1});
    const std::vector<std::uint8_t> bytes = changes.Packed();
    const LabelChanges::SharedBytes held = changes.Share();
    LabelChanges copy = changes;
    EXPECT_EQ(&copy.Packed(), held.get());
    copy.Add({20, 5, 0, 1});
    EXPECT_EQ(copy.RunCount(), 2u);
    EXPECT_EQ(changes.Packed(), bytes);
    changes.Add({30, 5, 0, 1});
    EXPECT_EQ(*held, bytes);
    EXPECT_NE(changes.Packed(), copy.Packed());
}

TEST(LabelChanges, ADiscTakesAFewBytesPerRow) {
    LabelChanges changes;
    for (std::uint64_t y = 0; y < 100; ++y) changes.Add({y * 4096 + 50, 60, 0, 7});
    EXPECT_LE(changes.Packed().size(), 100 * 4u + 2u);
}

TEST(LabelChanges, WhatChangesNothingIsNoRun) {
    LabelChanges changes;
    changes.Add({5, 0, 1, 2});
    changes.Add({5, 3, 2, 2});
    EXPECT_TRUE(changes.Empty());
}

TEST(LabelChanges, DamagedBytesAndThoseOfALargerImageAreRefused) {
    LabelChanges changes;
    changes.Add({90, 10, 0, 1});
    EXPECT_EQ(LabelChanges::FromPacked(changes.Packed(), 100).RunCount(), 1u);
    LabelChanges largest;
    largest.Add({0, 10, 65535, 65534});
    EXPECT_EQ(RunsOf(LabelChanges::FromPacked(largest.Packed(), 100)), RunsOf(largest));
    // As that label would be one more: 0x80 0x80 0x04.
    std::vector<std::uint8_t> tooLarge = largest.Packed();
    ASSERT_EQ(tooLarge.at(2), 0xff);
    for (const auto& [place, byte] : {std::pair{2, 0x80}, std::pair{3, 0x80}, std::pair{4, 0x04}}) {
        tooLarge.at(static_cast<std::size_t>(place)) = static_cast<std::uint8_t>(byte);
    }
    EXPECT_THROW(LabelChanges::FromPacked(tooLarge, 100), qvox::ToolkitError);
    EXPECT_THROW(LabelChanges::FromPacked(changes.Packed(), 99), qvox::ToolkitError);
    std::vector<std::uint8_t> cut = changes.Packed();
    cut.pop_back();
    EXPECT_THROW(LabelChanges::FromPacked(cut, 100), qvox::ToolkitError);
    std::mt19937 random(3);
    for (int i = 0; i < 20000; ++i) {
        std::vector<std::uint8_t> noise(Below(random, 12));
        for (std::uint8_t& byte : noise) byte = static_cast<std::uint8_t>(Below(random, 256));
        LabelImage labels = Blank(10, 10);
        try {
            // What is taken stays inside the image.
            ApplyChanges(LabelChanges::FromPacked(noise, 100), ChangeDirection::kRedo, labels);
        } catch (const qvox::ToolkitError&) {
        }
    }
}

TEST(LabelChanges, DifferencesAndClearingsLeadThereAndBack) {
    std::mt19937 random(11);
    for (int i = 0; i < 300; ++i) {
        const std::uint64_t width = 1 + Below(random, 70);
        const std::uint64_t height = 1 + Below(random, 40);
        const LabelImage before = RandomLabels(random, width, height);
        const LabelImage after = Below(random, 4) == 0 ? Blank(width, height) : RandomLabels(random, width, height);
        LabelImage labels = before;
        const LabelChanges difference = DifferenceOf(before, after);
        ApplyChanges(difference, ChangeDirection::kRedo, labels);
        ASSERT_TRUE(Same(labels, after));
        ApplyChanges(difference, ChangeDirection::kUndo, labels);
        ASSERT_TRUE(Same(labels, before));
        ApplyChanges(ClearingOf(labels), ChangeDirection::kRedo, labels);
        ASSERT_TRUE(Same(labels, Blank(width, height)));
        EXPECT_EQ(RunsOf(ClearingOf(before)), RunsOf(DifferenceOf(before, Blank(width, height))));
    }
}

/// Labels of several positions with their history, and all states they went through.
struct Session {
    std::vector<LabelImage> labels;
    LabelHistory history;
    std::vector<std::vector<LabelImage>> past;  ///< before each step that can be undone
    std::vector<std::vector<LabelImage>> future;

    void Apply(const HistoryStep& step, ChangeDirection direction) {
        const auto apply = [&](const HistoryStep::Part& part) {
            ApplyChanges(part.changes, direction, labels[part.position]);
        };
        if (direction == ChangeDirection::kUndo) {
            std::for_each(step.parts.rbegin(), step.parts.rend(), apply);
        } else {
            std::for_each(step.parts.begin(), step.parts.end(), apply);
        }
    }
};

bool SameSets(const std::vector<LabelImage>& a, const std::vector<LabelImage>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), Same);
}

TEST(LabelHistory, EveryStepIsUndoneAndRedoneToTheBitWhateverCameBetween) {
    std::mt19937 random(5);
    Session session;
    for (int i = 0; i < 3; ++i) session.labels.push_back(Blank(40, 30));
    for (int round = 0; round < 3000; ++round) {
        const std::uint64_t choice = Below(random, 10);
        if (choice < 3) {
            const HistoryStep* const step = session.history.Undo();
            ASSERT_EQ(step != nullptr, !session.past.empty());
            if (step == nullptr) continue;
            session.future.push_back(session.labels);
            session.Apply(*step, ChangeDirection::kUndo);
            ASSERT_TRUE(SameSets(session.labels, session.past.back())) << round;
            session.past.pop_back();
        } else if (choice < 5) {
            const HistoryStep* const step = session.history.Redo();
            ASSERT_EQ(step != nullptr, !session.future.empty());
            if (step == nullptr) continue;
            session.past.push_back(session.labels);
            session.Apply(*step, ChangeDirection::kRedo);
            ASSERT_TRUE(SameSets(session.labels, session.future.back())) << round;
            session.future.pop_back();
        } else {
            const std::vector<LabelImage> before = session.labels;
            session.history.Open("step");
            for (std::uint64_t part = 0; part < 1 + Below(random, 4); ++part) {
                LabelImage& labels = session.labels[Below(random, 3)];
                const LabelImage was = labels;
                // Dabs that overlap, with labels that change between them.
                for (int dab = 0; dab < 3; ++dab) {
                    const std::uint64_t start = Below(random, 40 * 30 - 50);
                    std::fill_n(labels.begin() + start, 1 + Below(random, 50),
                                static_cast<std::uint16_t>(Below(random, 4)));
                }
                session.history.Add(static_cast<std::size_t>(&labels - session.labels.data()),
                                    DifferenceOf(was, labels));
            }
            session.history.Close();
            if (SameSets(before, session.labels)) {
                // Changes that cancel each other are a step all the same; leave such rounds out.
                session.history.Clear();
                session.past.clear();
                session.future.clear();
                continue;
            }
            session.past.push_back(before);
            session.future.clear();
        }
    }
    EXPECT_GT(session.past.size(), 10u);
}

/// Labels that are edited by the tools, with their history.
struct EditedLabels {
    LabelImage labels = Blank(90, 70);
    LabelImage undoLabels;
    std::uint16_t currentLabel = 1;
    std::size_t labelCount = 0;
    EditingState state;
    LabelHistory history;

    EditedPosition Position() { return {labels, undoLabels, currentLabel, labelCount}; }
    void Take() { history.Add(0, std::exchange(state.changes, {})); }
    bool Travel(ChangeDirection direction) {
        const HistoryStep* const step = direction == ChangeDirection::kUndo ? history.Undo() : history.Redo();
        if (step == nullptr) return false;
        for (const HistoryStep::Part& part : step->parts) ApplyToEdited(part.changes, direction, Position(), state);
        return true;
    }
};

ImagePoint RandomPoint(std::mt19937& random) {
    return {korvane_test::Uniform(random, -10.0f, 100.0f), korvane_test::Uniform(random, -10.0f, 80.0f)};
}

/// One action of a person with the tools, at random.
void Edit(EditedLabels& edited, std::mt19937& random) {
    edited.history.Open("edit");
    edited.currentLabel = static_cast<std::uint16_t>(Below(random, 5));
    edited.state.brushRadiusPx = 1 + static_cast<int>(Below(random, 15));
    switch (Below(random, 8)) {
        case 0:
            RepaintComponent(edited.Position(), edited.state, RandomPoint(random));
            break;
        case 1:
            ClearLabels(edited.Position(), edited.state);
            break;
        case 2:
        case 3:
            UndoEdit(edited.Position(), edited.state);
            break;
        default: {
            edited.state.mode = Below(random, 3) == 0 ? DrawingMode::kContour : DrawingMode::kBrush;
            PressLeft(edited.Position(), edited.state, RandomPoint(random));
            for (std::uint64_t i = 0; i < Below(random, 6); ++i) {
                DragLeft(edited.Position(), edited.state, RandomPoint(random));
                edited.Take();
            }
            ReleaseLeft(edited.Position(), edited.state);
        }
    }
    edited.Take();
    edited.history.Close();
}

TEST(LabelHistory, WhateverTheToolsDoIsUndoneAndRedoneAndTheCountsStayTrue) {
    std::mt19937 random(21);
    EditedLabels edited;
    std::vector<LabelImage> past;
    std::vector<LabelImage> future;
    for (int round = 0; round < 4000; ++round) {
        const LabelImage before = edited.labels;
        const std::uint64_t choice = Below(random, 9);
        if (choice < 3 || choice > 6) {
            const bool undo = choice < 3;
            std::vector<LabelImage>& from = undo ? past : future;
            const bool moved = edited.Travel(undo ? ChangeDirection::kUndo : ChangeDirection::kRedo);
            ASSERT_EQ(moved, !from.empty()) << round;
            if (!moved) continue;
            (undo ? future : past).push_back(before);
            ASSERT_TRUE(Same(edited.labels, from.back())) << round;
            from.pop_back();
            std::vector<bool> there(65536);
            for (const std::uint16_t label : edited.labels) there[label] = true;
            ASSERT_EQ(edited.labelCount, static_cast<std::size_t>(std::count(there.begin() + 1, there.end(), true)));
        } else {
            const std::size_t bytes = edited.history.Bytes();
            Edit(edited, random);
            if (edited.history.Bytes() == bytes && Same(before, edited.labels)) continue;
            if (edited.history.CanRedo()) continue;
            past.push_back(before);
            future.clear();
        }
    }
    EXPECT_GT(past.size(), 20u);
}

TEST(LabelHistory, AStepWithoutChangesIsNone) {
    LabelHistory history;
    history.Open("stroke");
    EXPECT_TRUE(history.IsOpen());
    history.Add(0, {});
    history.Close();
    EXPECT_FALSE(history.IsOpen());
    EXPECT_FALSE(history.CanUndo());
    EXPECT_EQ(history.Undo(), nullptr);
    EXPECT_EQ(history.Redo(), nullptr);
}

LabelChanges Noise(std::uint64_t runs) {
    LabelChanges changes;
    for (std::uint64_t i = 0; i < runs; ++i) changes.Add({i * 3, 1, 0, static_cast<std::uint16_t>(1 + i % 60000)});
    return changes;
}

TEST(LabelHistory, TheOldestStepsAreDroppedFirstAndTheLimitHolds) {
    LabelHistory history(64 << 10);
    for (int i = 0; i < 100; ++i) {
        history.Open("step " + std::to_string(i));
        history.Add(0, Noise(1000));
        history.Close();
        EXPECT_LE(history.Bytes(), std::size_t{64} << 10);
    }
    int kept = 0;
    for (const HistoryStep* step = history.Undo(); step != nullptr; step = history.Undo()) {
        EXPECT_EQ(step->what, "step " + std::to_string(99 - kept));
        ++kept;
    }
    EXPECT_GT(kept, 4);
    EXPECT_LT(kept, 20);
    EXPECT_TRUE(history.TakeDropped());
    EXPECT_FALSE(history.TakeDropped()) << "told";
}

TEST(LabelHistory, ChangesOfLabelsAndOfMarksAreApartInOneStep) {
    LabelHistory history;
    history.Open("both");
    history.Add(0, Noise(3));
    history.Add(0, Noise(4), ChangedLayer::kMarks);
    history.Add(0, Noise(5), ChangedLayer::kMarks);
    history.Close();
    const HistoryStep* const step = history.Undo();
    ASSERT_EQ(step->parts.size(), 2u);
    EXPECT_EQ(step->parts[0].layer, ChangedLayer::kLabels);
    EXPECT_EQ(step->parts[1].layer, ChangedLayer::kMarks);
    EXPECT_EQ(step->parts[1].changes.RunCount(), Noise(4).RunCount() + Noise(5).RunCount());
    EXPECT_FALSE(history.TakeDropped());
}

TEST(LabelHistory, AStepBeyondTheLimitTakesAllBeforeItAlongAndNotTheNext) {
    LabelHistory history(16 << 10);
    history.Open("small");
    history.Add(0, Noise(10));
    history.Open("large");
    history.Add(0, Noise(20000));
    history.Add(1, Noise(10));
    history.Close();
    EXPECT_FALSE(history.CanUndo());
    EXPECT_EQ(history.Bytes(), 0u);
    history.Add(0, Noise(10));
    ASSERT_TRUE(history.CanUndo());
    EXPECT_EQ(history.Undo()->parts.size(), 1u);
}

TEST(LabelHistory, AChangeEndsWhatCouldBeRedone) {
    LabelHistory history;
    history.Add(0, Noise(3));
    history.Add(1, Noise(3));
    ASSERT_NE(history.Undo(), nullptr);
    EXPECT_TRUE(history.CanRedo());
    history.Add(2, Noise(3));
    EXPECT_FALSE(history.CanRedo());
    EXPECT_EQ(history.Undo()->parts[0].position, 2u);
    EXPECT_EQ(history.Undo()->parts[0].position, 0u);
    EXPECT_EQ(history.Undo(), nullptr);
    history.Clear();
    EXPECT_EQ(history.Bytes(), 0u);
    EXPECT_FALSE(history.CanRedo());
}

LabelChanges ChangeAt(std::uint64_t start) {
    LabelChanges changes;
    changes.Add({start, 3, 0, 7});
    return changes;
}

TEST(LabelHistory, ForgetsAPositionThatIsGone) {
    LabelHistory history;
    history.Open("loading of results");
    for (std::size_t position = 0; position < 3; ++position) history.Add(position, ChangeAt(10 * position));
    history.Close();
    history.Add(1, ChangeAt(50));
    history.Add(2, ChangeAt(60));
    history.Add(1, ChangeAt(70));
    history.Undo();
    history.RemovePosition(1);
    EXPECT_EQ(history.Redo(), nullptr) << "it was of that position alone";
    const HistoryStep* step = history.Undo();
    ASSERT_NE(step, nullptr);
    EXPECT_EQ(step->parts.at(0).position, 1u) << "the one behind it has moved up";
    EXPECT_EQ(step->parts.at(0).changes.Packed(), ChangeAt(60).Packed());
    step = history.Undo();
    ASSERT_NE(step, nullptr);
    ASSERT_EQ(step->parts.size(), 2u);
    EXPECT_EQ(step->parts[0].position, 0u);
    EXPECT_EQ(step->parts[1].position, 1u);
    EXPECT_EQ(step->parts[1].changes.Packed(), ChangeAt(20).Packed());
    EXPECT_EQ(history.Undo(), nullptr);
    history.Clear();
    history.Add(0, ChangeAt(1));
    const std::size_t alone = history.Bytes();
    history.Add(1, ChangeAt(1));
    history.RemovePosition(1);
    EXPECT_LE(history.Bytes(), alone + 64) << "what was forgotten is not counted";
}

}  // namespace
