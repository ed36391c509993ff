#include "PositionImages.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <random>
#include <utility>

#include <gtest/gtest.h>

#include "ImageLoading.h"
#include "PathText.h"
#include "StoredImage.h"
#include "ToolkitError.h"
#include "support/Random.h"
#include "support/TemporaryFolder.h"
#include "support/TestImages.h"
#include "support/TestThreads.h"

namespace Korvane {

namespace {

using korvane_test::SameVoxels;

constexpr std::uint64_t kSide = 64;

/// Files of 8 bits, one float, and a store of little memory that has appended them.
class PositionImagesOfFiles : public testing::Test {
protected:
    static constexpr std::size_t kCount = 6;

    PositionImagesOfFiles() : images(2 * kSide * kSide) {
        for (std::size_t i = 0; i < kCount; ++i) {
            Write(i);
            images.Append(PathOf(i));
        }
    }

    std::string PathOf(std::size_t i) const { return folder.File(std::to_string(i) + ".tif"); }

    void Write(std::size_t i, float pixelsPerUm = 500.0f) {
        if (i == 3) {
            auto floats = korvane_test::RandomImage<float>(random, kSide, kSide, -5, 5);
            floats.SetResolution({pixelsPerUm, pixelsPerUm, 0.0f});
            qvox::SaveImageFile(PathOf(i), floats);
            return;
        }
        auto grey = korvane_test::RandomImage<std::uint8_t>(random, kSide, kSide, 0, 255);
        grey.SetResolution({pixelsPerUm, pixelsPerUm, 0.0f});
        grey.SetMetadata({{"Software", std::to_string(i)}});
        qvox::SaveImageFile(PathOf(i), grey, qvox::FileFormat::kTiff, qvox::TiffCompression::kNone);
    }

    std::size_t InMemory() const {
        std::size_t count = 0;
        for (std::size_t i = 0; i < images.Count(); ++i) count += images.IsInMemory(i) ? 1u : 0u;
        return count;
    }

    korvane_test::TemporaryFolder folder;
    std::mt19937 random{11};
    PositionImages images;
};

TEST_F(PositionImagesOfFiles, AreKnownBeforeTheyAreRead) {
    EXPECT_EQ(images.SizeX(5), kSide);
    EXPECT_EQ(images.VoxelCount(3), kSide * kSide);
    EXPECT_FLOAT_EQ(images.Resolution(2).x, 500.0f);
    EXPECT_EQ(images.CountLabels(4), 0u);
    EXPECT_FALSE(images.WasRead(0));
    EXPECT_EQ(InMemory(), 0u);
}

TEST_F(PositionImagesOfFiles, HoldWhatLoadingAPositionGivesWhereverTheyAre) {
    for (int round = 0; round < 2; ++round) {
        for (const std::size_t i : {0u, 5u, 3u, 1u, 4u, 2u}) {
            const Position wanted = LoadPosition(PathText(PathOf(i)));
            const PositionImages::Intensities image = images.IntensitiesOf(i);
            EXPECT_TRUE(SameVoxels(wanted.image, *image));
            EXPECT_EQ(image->Metadata(), wanted.image.Metadata());
            images.Show(i);
            EXPECT_EQ(&images.ShownIntensities(), image.get());
            EXPECT_TRUE(SameVoxels(wanted.labels, images.ShownLabels()));
            EXPECT_EQ(images.ShownLabels().Metadata(), wanted.labels.Metadata());
            EXPECT_EQ(images.ShownLabels().Resolution(), wanted.labels.Resolution());
        }
    }
}

TEST_F(PositionImagesOfFiles, KeepNoMoreThanTheBudgetBesidesTheShownOne) {
    images.Show(0);
    for (std::size_t i = 0; i < kCount; ++i) {
        images.Read(i);
        EXPECT_LE(InMemory(), 3u) << i;
    }
    EXPECT_TRUE(images.IsInMemory(1)) << "the nearest are kept";
    EXPECT_FALSE(images.IsInMemory(5));
    images.Show(5);
    images.IntensitiesOf(4);
    EXPECT_TRUE(images.IsInMemory(4));
    EXPECT_FALSE(images.IsInMemory(0));
}

TEST_F(PositionImagesOfFiles, KeepTheLabelsOfPositionsThatAreNotShown) {
    std::vector<qvox::LabelImage> wanted;
    for (std::size_t i = 0; i < kCount; ++i) {
        images.Show(i);
        for (std::uint16_t& label : images.ShownLabels()) {
            label = static_cast<std::uint16_t>(korvane_test::UniformInt(random, 0, 2));
        }
        wanted.push_back(images.ShownLabels());
        if (i > 0) {
            EXPECT_TRUE(SameVoxels(wanted[i - 1], *images.LabelsOf(i - 1)));
        }
    }
    auto other = korvane_test::RandomImage<std::uint16_t>(random, kSide, kSide, 0, 9);
    wanted[1] = other;
    images.SetLabels(1, other);
    other = wanted[1];
    other[7] = 3;
    wanted[5] = other;
    images.SetLabels(5, other);
    images.ClearLabels(2);
    wanted[2].Zero();
    for (std::size_t i = 0; i < kCount; ++i) {
        EXPECT_TRUE(SameVoxels(wanted[i], *images.LabelsOf(i))) << i;
        images.Show(i);
        EXPECT_TRUE(SameVoxels(wanted[i], images.ShownLabels())) << i;
        EXPECT_EQ(images.ShownLabels().Resolution(), images.Resolution(i));
    }
}

TEST_F(PositionImagesOfFiles, GiveTheMemoryOfShownLabelsToTheNextUnlessSomebodyHoldsThem) {
    images.Show(0);
    images.ShownLabels()[5] = 7;
    const qvox::LabelImage* const first = &images.ShownLabels();
    images.Show(1);
    EXPECT_EQ(&images.ShownLabels(), first);
    EXPECT_EQ(images.ShownLabels()[5], 0);
    EXPECT_EQ((*images.LabelsOf(0))[5], 7);
    images.ShownLabels()[6] = 8;
    const PositionImages::Labels held = images.LabelsOf(1);
    images.Show(0);
    EXPECT_NE(&images.ShownLabels(), held.get());
    EXPECT_EQ((*held)[6], 8) << "whoever holds labels keeps them";
    EXPECT_EQ(images.ShownLabels()[5], 7);
    EXPECT_EQ(images.ShownLabels()[6], 0);
}

TEST_F(PositionImagesOfFiles, RefuseAFileThatChangedAfterItWasRead) {
    for (std::size_t i = 0; i < kCount; ++i) images.Read(i);
    images.Show(0);
    ASSERT_FALSE(images.IsInMemory(5));
    const auto written = std::filesystem::last_write_time(PathOf(5));
    const auto bytes = std::filesystem::file_size(PathOf(5));
    Write(5);
    // Neither its size nor its time need tell.
    std::filesystem::last_write_time(PathOf(5), written);
    ASSERT_EQ(std::filesystem::file_size(PathOf(5)), bytes);
    try {
        images.Show(5);
        FAIL() << "another image was shown";
    } catch (const qvox::ToolkitError& error) {
        EXPECT_EQ(std::string(error.what()), "The image '" + PathOf(5) + "' has changed since it was opened.");
    }
    EXPECT_TRUE(images.Shows(0));
    EXPECT_TRUE(images.LabelsOf(5)->SameSizes(images.ShownLabels())) << "its labels can still be saved";
    std::filesystem::remove(PathOf(4));
    EXPECT_THROW(images.IntensitiesOf(4), qvox::ToolkitError);
}

TEST_F(PositionImagesOfFiles, RefuseAFileThatChangedBeforeItWasRead) {
    Write(1);
    EXPECT_THROW(images.Read(1), qvox::ToolkitError) << "another time of change";
    Write(2, 501.0f);
    EXPECT_THROW(images.Read(2), qvox::ToolkitError) << "another pixel size";
    EXPECT_FALSE(images.WasRead(1));
    EXPECT_NO_THROW(images.Read(0));
}

TEST_F(PositionImagesOfFiles, TakeAnEqualFileForTheSame) {
    for (std::size_t i = 0; i < kCount; ++i) images.Read(i);
    ASSERT_FALSE(images.IsInMemory(5));
    std::filesystem::copy_file(PathOf(5), folder.File("copy.tif"));
    std::filesystem::rename(folder.File("copy.tif"), PathOf(5));
    EXPECT_NO_THROW(images.Show(5));
}

TEST_F(PositionImagesOfFiles, AreFoundByTheirNumbersAfterOthersAreGone) {
    const std::uint64_t third = images.Id(3);
    const std::uint64_t first = images.Id(1);
    images.Show(4);
    images.Remove(1);
    EXPECT_EQ(images.IndexOf(third), std::optional<std::size_t>(2));
    EXPECT_EQ(images.IndexOf(first), std::nullopt);
    EXPECT_TRUE(images.Shows(3));
    images.Clear();
    images.Append(PathOf(0));
    EXPECT_EQ(images.IndexOf(third), std::nullopt);
    EXPECT_EQ(images.IndexOf(images.Id(0)), std::optional<std::size_t>(0));
}

TEST(StoredImage, GivesTheSameIntensitiesOnAnyNumberOfThreads) {
    std::mt19937 random(7);
    // Four parts of unequal length.
    auto read = korvane_test::RandomImage<std::uint16_t>(random, 1031, 1021, 0, 65535);
    read.SetResolution({500.0f, 250.0f, 0.0f});
    const auto stored = std::make_shared<const StoredImage>(std::move(read));
    const qvox::VoxelImage<float> expected = TakeIntensities(*stored);
    const float last = stored->Visit([](const auto& image) { return static_cast<float>(image(1030, 1020)); });
    ASSERT_EQ(expected(1030, 1020), last);
    korvane_test::ForEachNumberOfThreads([&](unsigned threads, const qvox::PartRunner& run) {
        const auto shared = ShareIntensities(stored, run);
        EXPECT_TRUE(SameVoxels(*shared, expected)) << threads;
        EXPECT_EQ(shared->Resolution().y, 250.0f) << threads;
    });
}

}  // namespace

}  // namespace Korvane
