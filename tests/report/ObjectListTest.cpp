#include "ObjectList.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ObjectMeasuring.h"

namespace Korvane {
namespace {

struct Square {
    std::uint16_t label;
    std::uint64_t x;
    std::uint64_t y;
    std::uint64_t side;
};

/// Dark squares on a bright ground, 2 nm per pixel unless told otherwise.
struct Picture {
    explicit Picture(const std::vector<Square>& squares, float perUm = 500.0f) {
        image.Resize(80, 60, 1);
        image.SetResolution({perUm, perUm, 0.0f});
        std::fill(image.begin(), image.end(), 100.0f);
        labels.CopyPropertiesFrom(image);
        labels.Resize(80, 60, 1);
        labels.Zero();
        for (const Square& square : squares) Draw(square);
    }
    void Draw(const Square& square) {
        for (std::uint64_t y = square.y; y < square.y + square.side; ++y) {
            for (std::uint64_t x = square.x; x < square.x + square.side; ++x) {
                labels(x, y) = square.label;
                image(x, y) = 20.0f;
            }
        }
    }
    ObjectMeasuring::Image Shared() const { return std::make_shared<const qvox::VoxelImage<float>>(image); }
    MeasuredPosition Measured() const { return MeasurePosition(image, labels); }

    qvox::VoxelImage<float> image;
    qvox::LabelImage labels;
};

const std::vector<Square> kThree{{5, 10, 10, 8}, {2, 40, 30, 12}, {9, 0, 40, 10}};

std::size_t ColumnOf(const std::string& name) {
    const std::vector<std::string>& names = ObjectList::ColumnNames();
    return static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin());
}

std::vector<std::uint16_t> LabelsOf(const ObjectList& list) {
    std::vector<std::uint16_t> labels;
    for (std::size_t i = 0; i < list.RowCount(); ++i) labels.push_back(list.At(i).label);
    return labels;
}

using Labels = std::vector<std::uint16_t>;

TEST(ObjectList, SortsByAnyColumnInBothOrdersWithTiesByPlace) {
    ObjectList list;
    list.Set(0, Picture(kThree).Measured());
    EXPECT_EQ(LabelsOf(list), (Labels{2, 5, 9}));
    list.Sort(ColumnOf("diameter_nm"), SortOrder::kAscending);
    EXPECT_EQ(LabelsOf(list), (Labels{5, 9, 2}));
    list.Sort(ColumnOf("diameter_nm"), SortOrder::kDescending);
    EXPECT_EQ(LabelsOf(list), (Labels{2, 9, 5}));
    list.Sort(ColumnOf("touches_edge"), SortOrder::kDescending);
    EXPECT_EQ(LabelsOf(list), (Labels{9, 2, 5}));
    EXPECT_EQ(list.Text(0, ColumnOf("label")), "9");
    EXPECT_EQ(list.Text(0, 0), "1");
    EXPECT_EQ(list.RowOf({0, 5}), std::optional<std::size_t>(2));
    EXPECT_EQ(list.RowOf({1, 5}), std::nullopt);
    EXPECT_EQ(list.ExtentAt(2).minX, 10u);
}

TEST(ObjectList, TextsAreThoseOfTheTableOfObjects) {
    const Picture picture(kThree);
    ObjectList list;
    list.Set(0, picture.Measured());
    const std::vector<ObjectMeasures> objects = MeasureEverything(picture.image, picture.labels);
    for (const ObjectColumn& column : ObjectColumns()) {
        const std::size_t shown = ColumnOf(column.name);
        if (shown == ObjectList::ColumnNames().size()) continue;
        for (std::size_t i = 0; i < objects.size(); ++i) {
            EXPECT_EQ(list.Text(i, shown), ColumnText(column, objects[i])) << column.name;
        }
    }
}

TEST(ObjectList, ListsOnePositionOrAll) {
    ObjectList list;
    list.Set(3, Picture({{7, 5, 5, 6}}).Measured());
    list.Set(0, Picture(kThree).Measured());
    list.List(ListedPositions::kCurrent, 3);
    EXPECT_EQ(LabelsOf(list), Labels{7});
    list.List(ListedPositions::kAll, 3);
    EXPECT_EQ(LabelsOf(list), (Labels{2, 5, 7, 9}));
    EXPECT_EQ(list.Text(2, 0), "4");
    list.Sort(0, SortOrder::kAscending);
    EXPECT_EQ(LabelsOf(list), (Labels{2, 5, 9, 7}));
    list.List(ListedPositions::kCurrent, 1);
    EXPECT_EQ(list.RowCount(), 0u);
    list.Clear();
    list.List(ListedPositions::kAll, 0);
    EXPECT_EQ(list.RowCount(), 0u);
}

TEST(ObjectList, FiltersSayWhyAndLeaveTheRows) {
    ObjectList list;
    list.Set(0, Picture(kThree).Measured());
    ObjectSelection selection;
    selection.minDiameterNm = 20.0;
    selection.atEdge = ObjectsAtEdge::kLeftOut;
    list.Select(selection);
    EXPECT_EQ(list.RowCount(), 3u);
    const std::size_t reason = ColumnOf("not_counted_because");
    EXPECT_EQ(list.Text(0, reason), "");
    EXPECT_EQ(list.Text(1, reason), "too small");
    EXPECT_EQ(list.Text(2, reason), "at the edge");
    const SizeSummary sizes = list.Sizes();
    EXPECT_EQ(sizes.objects, 3u);
    EXPECT_EQ(sizes.atEdge, 1u);
    EXPECT_EQ(sizes.leftOut, (std::map<std::string, std::size_t>{{"at the edge", 1}, {"too small", 1}}));
    ASSERT_EQ(sizes.sizes.size(), 1u);
    EXPECT_NEAR(sizes.sizes[0], 27.08, 0.01);
    EXPECT_NEAR(sizes.areaUm2, 80 * 60 * 4e-6, 1e-12);
    list.Sort(reason, SortOrder::kDescending);
    EXPECT_EQ(LabelsOf(list), (Labels{5, 9, 2}));
}

TEST(ObjectList, LengthsWithoutAPixelSizeAreNotShownNorCounted) {
    ObjectList list;
    list.Set(0, Picture(kThree, 0.0f).Measured());
    EXPECT_EQ(list.Text(0, ColumnOf("diameter_nm")), "");
    EXPECT_NE(list.Text(0, ColumnOf("roundness")), "");
    EXPECT_EQ(list.Text(0, ColumnOf("not_counted_because")), "no pixel size");
    EXPECT_TRUE(list.Sizes().sizes.empty());
    EXPECT_EQ(OverviewText(OverviewOf(list.Sizes()).summary), "3 objects, 0 counted (no pixel size: 3)");
}

TEST(ObjectList, OverviewHoldsTheStatisticsAndBinsOfAReport) {
    SizeSummary sizes;
    for (int i = 0; i < 40; ++i) sizes.sizes.push_back(50.0 + i);
    sizes.objects = 42;
    sizes.leftOut["too small"] = 2;
    sizes.areaUm2 = 4.0;
    const SizeOverview overview = OverviewOf(sizes);
    EXPECT_EQ(overview.summary.statistics.n, 40u);
    std::size_t binned = 0;
    for (const SizeBin& bin : overview.bins) binned += bin.count;
    EXPECT_EQ(binned, 40u);
    const std::string text = OverviewText(overview.summary);
    for (const char* part : {"42 objects, 40 counted (too small: 2)", "\nMean 69.5 nm (95 %: ", "\nMedian 69.5 nm",
                             "\nD10 53.9 nm, D90 85.1 nm", "geometric mean", "\n10.00 per "}) {
        EXPECT_NE(text.find(part), std::string::npos) << part << " in " << text;
    }
}

class Measuring : public ::testing::Test {
protected:
    /// Copies and measures until a result is there.
    ObjectMeasuring::Measured Wait(std::size_t position, const Picture& of) {
        for (;;) {
            if (const auto next = measuring.Next(ListedPositions::kAll, position)) {
                EXPECT_EQ(*next, position);
                measuring.Copy(*next, of.Shared(), of.labels, 1000);
            }
            if (auto measured = measuring.Take()) return std::move(*measured);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    ObjectMeasuring measuring;
    Picture picture{kThree};
};

TEST_F(Measuring, GivesTheMeasuresOfTheLabelsInParts) {
    measuring.Reset(2);
    EXPECT_EQ(measuring.Next(ListedPositions::kCurrent, 1), std::optional<std::size_t>(1));
    const ObjectMeasuring::Measured measured = Wait(1, picture);
    EXPECT_EQ(measured.position, 1u);
    EXPECT_EQ(measured.measures.objects.size(), 3u);
    EXPECT_TRUE(measuring.IsDone(ListedPositions::kCurrent, 1));
    EXPECT_FALSE(measuring.IsDone(ListedPositions::kAll, 1));
    EXPECT_EQ(measuring.Next(ListedPositions::kAll, 1), std::optional<std::size_t>(0));
}

TEST_F(Measuring, LabelsThatChangeMeanwhileAreCopiedAgain) {
    measuring.Reset(1);
    measuring.Copy(0, picture.Shared(), picture.labels, 3000);
    picture.Draw({30, 60, 5, 6});
    measuring.Changed(0);
    EXPECT_EQ(Wait(0, picture).measures.objects.size(), 4u);
    // While they are being measured, too.
    measuring.Changed(0);
    measuring.Copy(0, picture.Shared(), picture.labels, 100000);
    EXPECT_EQ(measuring.Next(ListedPositions::kAll, 0), std::nullopt);
    picture.Draw({31, 70, 5, 6});
    measuring.Changed(0);
    EXPECT_EQ(Wait(0, picture).measures.objects.size(), 5u);
    EXPECT_TRUE(measuring.IsDone(ListedPositions::kAll, 0));
}

TEST_F(Measuring, ResultsOfPositionsThatAreGoneAreDropped) {
    measuring.Reset(1);
    measuring.Copy(0, picture.Shared(), picture.labels, 100000);
    measuring.Reset(1);
    const Picture other({{3, 20, 20, 9}});
    const ObjectMeasuring::Measured measured = Wait(0, other);
    ASSERT_EQ(measured.measures.objects.size(), 1u);
    EXPECT_EQ(measured.measures.objects[0].extent.label, 3u);
    measuring.Reset(0);
    EXPECT_TRUE(measuring.IsDone(ListedPositions::kAll, 0));
}

}  // namespace
}  // namespace Korvane
