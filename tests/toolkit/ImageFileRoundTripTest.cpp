#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <random>
#include <type_traits>

#include "files/ImageFile.h"
#include "support/Random.h"
#include "support/TemporaryFolder.h"
#include "support/TestImages.h"

namespace {

using korvane_test::SameVoxels;
using korvane_test::TemporaryFolder;
using qvox::FileFormat;
using qvox::PixelResolution;
using qvox::Rgb8;
using qvox::TiffCompression;
using qvox::VoxelImage;
using qvox::VoxelType;

template <typename T>
T RandomVoxel(std::mt19937& random) {
    const auto bits = static_cast<std::uint32_t>(random());
    if constexpr (std::is_same_v<T, Rgb8>) {
        return {static_cast<std::uint8_t>(bits), static_cast<std::uint8_t>(bits >> 8),
                static_cast<std::uint8_t>(bits >> 16)};
    } else {
        T voxel{};
        std::memcpy(&voxel, &bits, sizeof voxel);  // floats: NaN, infinities and denormals too
        return voxel;
    }
}

template <typename T>
VoxelImage<T> RandomPicture(std::mt19937& random, std::uint64_t width, std::uint64_t height, std::uint64_t planes = 1) {
    VoxelImage<T> image;
    image.Resize(width, height, planes);
    for (T& voxel : image) voxel = RandomVoxel<T>(random);
    return image;
}

template <typename T>
bool SameBytes(const VoxelImage<T>& a, const VoxelImage<T>& b) {
    return a.SameSizes(b) && std::memcmp(a.begin(), b.begin(), a.VoxelCount() * sizeof(T)) == 0;
}

std::string FileBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

template <typename T>
class ImageFileRoundTrip : public ::testing::Test {};
using AllTypes = ::testing::Types<std::uint8_t, std::uint16_t, float, Rgb8>;
TYPED_TEST_SUITE(ImageFileRoundTrip, AllTypes);

TYPED_TEST(ImageFileRoundTrip, KeepsEveryVoxelOfEverySizeAndCompression) {
    std::mt19937 random(1);
    const TemporaryFolder folder;
    const std::string path = folder.File("picture.tif");
    const std::uint64_t sizes[][3] = {{1, 1, 1},   {1, 70, 1},  {257, 1, 1},   {2, 3, 1}, {33, 64, 1},
                                      {65, 63, 1}, {31, 65, 1}, {128, 129, 1}, {5, 7, 3}, {1, 1, 2}};
    for (const auto& size : sizes) {
        for (const TiffCompression compression : {TiffCompression::kNone, TiffCompression::kDeflate}) {
            const auto image = RandomPicture<TypeParam>(random, size[0], size[1], size[2]);
            qvox::SaveImageFile(path, image, FileFormat::kTiff, compression);
            VoxelImage<TypeParam> back;
            qvox::LoadImageFile(path, back);
            EXPECT_TRUE(SameBytes(image, back)) << size[0] << " x " << size[1] << " x " << size[2];
            EXPECT_EQ(back.Resolution(), PixelResolution());
            EXPECT_TRUE(back.Metadata().empty());
        }
    }
}

TYPED_TEST(ImageFileRoundTrip, WritesTheSameBytesForTheSameImage) {
    std::mt19937 random(2);
    const TemporaryFolder folder;
    auto image = RandomPicture<TypeParam>(random, 100, 90);
    image.SetMetadata({{"Software", "x"}});
    image.SetResolution({3.0f, 4.0f, 5.0f});
    qvox::SaveImageFile(folder.File("a.tif"), image);
    qvox::SaveImageFile(folder.File("b.tif"), image);
    EXPECT_EQ(FileBytes(folder.File("a.tif")), FileBytes(folder.File("b.tif")));
}

TYPED_TEST(ImageFileRoundTrip, RefusesAnEmptyImage) {
    const TemporaryFolder folder;
    const VoxelImage<TypeParam> empty;
    EXPECT_THROW(qvox::SaveImageFile(folder.File("a.tif"), empty), qvox::ToolkitError);
    EXPECT_FALSE(std::filesystem::exists(folder.File("a.tif")));
}

TEST(ImageFile, ReadsBackWhatFormat5WroteWithFormat0) {
    std::mt19937 random(3);
    const TemporaryFolder folder;
    const std::string path = folder.File("seg_a.tif");
    auto image = RandomPicture<std::uint16_t>(random, 41, 29);
    image.SetResolution({672.25f, 671.1f, 0.0f});
    qvox::SaveImageFile(path, image, FileFormat{5});
    EXPECT_EQ(qvox::ProbeVoxelType(path, FileFormat{0}), VoxelType::kUint16);
    qvox::LabelImage back;
    qvox::LoadImageFile(path, back);
    EXPECT_TRUE(SameVoxels(image, back));
    EXPECT_EQ(back.Resolution(), image.Resolution());
}

TEST(ImageFile, ProbesTheCodesOfTheVoxelTypes) {
    std::mt19937 random(4);
    const TemporaryFolder folder;
    const std::string path = folder.File("a.tif");
    qvox::SaveImageFile(path, RandomPicture<std::uint8_t>(random, 3, 3));
    EXPECT_EQ(static_cast<int>(qvox::ProbeVoxelType(path)), 2);
    qvox::SaveImageFile(path, RandomPicture<std::uint16_t>(random, 3, 3));
    EXPECT_EQ(static_cast<int>(qvox::ProbeVoxelType(path)), 3);
    qvox::SaveImageFile(path, RandomPicture<float>(random, 3, 3));
    EXPECT_EQ(static_cast<int>(qvox::ProbeVoxelType(path)), 6);
    qvox::SaveImageFile(path, RandomPicture<Rgb8>(random, 3, 3));
    EXPECT_EQ(qvox::ProbeVoxelType(path), VoxelType::kRgb8);
    VoxelImage<float> wrong;
    EXPECT_THROW(qvox::LoadImageFile(path, wrong), qvox::ToolkitError);
}

TEST(ImageFile, KeepsEveryResolutionBitForBit) {
    std::mt19937 random(5);
    const TemporaryFolder folder;
    const std::string path = folder.File("a.tif");
    VoxelImage<std::uint8_t> image;
    image.Resize(1, 1, 1);
    image.Zero();
    const auto any = [&] { return random() % 8 == 0 ? 0.0f : std::pow(10.0f, korvane_test::Uniform(random, -3.0f, 5.0f)); };
    for (int i = 0; i < 600; ++i) {
        const PixelResolution resolution{any(), any(), any()};
        image.SetResolution(resolution);
        qvox::SaveImageFile(path, image, FileFormat::kTiff, TiffCompression::kNone);
        VoxelImage<std::uint8_t> back;
        qvox::LoadImageFile(path, back);
        ASSERT_EQ(back.Resolution(), resolution) << resolution.x << ' ' << resolution.y << ' ' << resolution.z;
    }
}

TEST(ImageFile, KeepsTheEndsOfTheResolutionRangeAndBeyond) {
    const TemporaryFolder folder;
    const std::string path = folder.File("a.tif");
    VoxelImage<std::uint8_t> image;
    image.Resize(1, 1, 1);
    image.Zero();
    for (const float value : {1e-3f, 1e5f, 1e-30f, 1e30f, 1e-6f, 1e9f, 672.0f, 0.0f}) {
        image.SetResolution({value, value, value});
        qvox::SaveImageFile(path, image);
        VoxelImage<std::uint8_t> back;
        qvox::LoadImageFile(path, back);
        EXPECT_EQ(back.Resolution(), image.Resolution()) << value;
    }
    const float infinity = std::numeric_limits<float>::infinity();
    image.SetResolution({infinity, -1.0f, std::nanf("")});
    qvox::SaveImageFile(path, image);
    EXPECT_EQ(qvox::InspectImageFile(path).resolution, PixelResolution());
}

TEST(ImageFile, KeepsOffsetAndAnyDescription) {
    const TemporaryFolder folder;
    const std::string path = folder.File("a.tif");
    VoxelImage<float> image(qvox::VoxelOffset{-0.1f, 1e-20f, 3e20f}, PixelResolution{1.0f / 3.0f, 7.0f, 0.1f});
    image.Resize(2, 2, 1);
    image.Zero();
    const std::string nul("a\0b", 3);
    image.SetMetadata({{"", ""},
                       {"empty", ""},
                       {"a=b", "c=d"},
                       {"lines\nin\r\nkey", "and\nvalue\r\n\n"},
                       {"\xC2\xB5m \xE4\xB8\xAD", "\xF0\x9F\x94\xAC 100 % \\u00B5 %41"},
                       {"blanks", "  both ends \t"},
                       {"nul", nul},
                       {"not UTF-8", "\xB5m\xFF"},
                       {"unit", "nm"},
                       {"qvox", "2"},
                       {"ImageDescription", "ImageJ=1.53t\nunit=nm\nimages=7\nslices=7\n"}});
    qvox::SaveImageFile(path, image);
    VoxelImage<float> back;
    qvox::LoadImageFile(path, back);
    EXPECT_EQ(back.Metadata(), image.Metadata());
    EXPECT_EQ(back.Offset(), image.Offset());
    EXPECT_EQ(back.Resolution(), image.Resolution());
    EXPECT_EQ(back.SizeZ(), 1u);
}

TEST(ImageFile, KeepsADescriptionOfRandomBytes) {
    std::mt19937 random(6);
    const TemporaryFolder folder;
    const std::string path = folder.File("a.tif");
    const auto text = [&random] {
        std::string bytes(random() % 40, ' ');
        for (char& c : bytes) c = static_cast<char>(random());
        return bytes;
    };
    for (int i = 0; i < 50; ++i) {
        qvox::Description description;
        for (int n = 0; n < 8; ++n) description[text()] = text();
        VoxelImage<std::uint8_t> image;
        image.Resize(1, 1, 1);
        image.Zero();
        image.SetMetadata(description);
        qvox::SaveImageFile(path, image);
        VoxelImage<std::uint8_t> back;
        qvox::LoadImageFile(path, back);
        ASSERT_EQ(back.Metadata(), description) << "round " << i;
    }
}

TEST(ImageFile, AnEmptyImageCanBeAssignedCopiedAndDisposed) {
    VoxelImage<std::uint16_t> empty;
    const VoxelImage<std::uint16_t> copy(empty);
    VoxelImage<std::uint16_t> assigned;
    assigned.Resize(2, 2, 1);
    assigned = copy;
    EXPECT_TRUE(assigned.Empty());
}

}  // namespace
