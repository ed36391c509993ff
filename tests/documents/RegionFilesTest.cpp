#include "RegionFiles.h"

#include <gtest/gtest.h>
#include <zip.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <utility>

#include "ToolkitError.h"
#include "support/TemporaryFolder.h"

namespace Korvane {

namespace {

using Points = std::vector<std::pair<double, double>>;

ClosedCurve Square(double left, double top, double side) {
    return {{left, top}, {left + side, top}, {left + side, top + side}, {left, top + side}};
}

/// The pixels 10 to 13 of the rows 20 to 23.
ImageRegion Traced() { return {"7", {{Square(9.5, 19.5, 4.0), {}}}}; }
ImageRegion SubPixel() { return {"8", {{Square(9.75, 19.25, 4.5), {}}}}; }
ImageRegion WithHole() {
    return {"9", {{Square(9.5, 19.5, 4.0), {{{11.5, 20.5}, {11.5, 21.5}, {10.5, 21.5}, {10.5, 20.5}}}}}};
}

std::string Contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Reads numbers as ImageJ's decoder does.
class Reader {
public:
    explicit Reader(std::string bytes) : bytes_(std::move(bytes)) {}
    int Byte(std::size_t at) const { return static_cast<unsigned char>(bytes_.at(at)); }
    int Short(std::size_t at) const { return Byte(at) << 8 | Byte(at + 1); }
    std::uint32_t Int(std::size_t at) const {
        return static_cast<std::uint32_t>(Short(at)) << 16 | static_cast<std::uint32_t>(Short(at + 2));
    }
    float Float(std::size_t at) const {
        const std::uint32_t bits = Int(at);
        float value = 0.0f;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    std::size_t Size() const { return bytes_.size(); }

private:
    std::string bytes_;
};

TEST(ImageJRegion, AlongPixelsIsATracedOneWithWholeNumbers) {
    const Reader roi(ImageJRegion(Traced()));
    EXPECT_EQ(roi.Int(0), 0x496F7574u);  // "Iout"
    EXPECT_EQ(roi.Short(4), 227);
    EXPECT_EQ(roi.Byte(6), 8);
    EXPECT_EQ((Points{{roi.Short(10), roi.Short(8)}, {roi.Short(14), roi.Short(12)}}), (Points{{10, 20}, {14, 24}}));
    ASSERT_EQ(roi.Short(16), 4);
    EXPECT_EQ(roi.Short(50), 0);
    ASSERT_EQ(roi.Size(), 64u + 4 * 4);
    Points points;
    for (std::size_t i = 0; i < 4; ++i) points.emplace_back(roi.Short(64 + 2 * i), roi.Short(72 + 2 * i));
    EXPECT_EQ(points, (Points{{0, 0}, {4, 0}, {4, 4}, {0, 4}}));
}

TEST(ImageJRegion, BetweenPixelsHasFractions) {
    const Reader roi(ImageJRegion(SubPixel()));
    EXPECT_EQ(roi.Byte(6), 0);
    EXPECT_EQ(roi.Short(50), 128);
    EXPECT_EQ((Points{{roi.Short(10), roi.Short(8)}, {roi.Short(14), roi.Short(12)}}), (Points{{10, 19}, {15, 25}}));
    ASSERT_EQ(roi.Size(), 64u + 4 * 4 + 4 * 8);
    EXPECT_EQ(roi.Float(80), 10.25f);
    EXPECT_EQ(roi.Float(84), 14.75f);
    EXPECT_EQ(roi.Float(96), 19.75f);
    EXPECT_EQ(roi.Float(104), 24.25f);
}

TEST(ImageJRegion, WithAHoleOrPartsIsAComposite) {
    ImageRegion parts = Traced();
    parts.polygons.push_back(SubPixel().polygons[0]);
    for (const ImageRegion& region : {WithHole(), parts}) {
        const Reader roi(ImageJRegion(region));
        EXPECT_EQ(roi.Byte(6), 1);
        ASSERT_EQ(roi.Int(36), 26u);
        ASSERT_EQ(roi.Size(), 64u + 26 * 4);
        EXPECT_EQ(roi.Float(64), 0.0f);  // go there
        EXPECT_EQ(roi.Float(68), 10.0f);
        EXPECT_EQ(roi.Float(72), 20.0f);
        EXPECT_EQ(roi.Float(76), 1.0f);  // draw a line
        EXPECT_EQ(roi.Float(80), 14.0f);
        EXPECT_EQ(roi.Float(64 + 12 * 4), 4.0f);  // close
        EXPECT_EQ(roi.Float(64 + 25 * 4), 4.0f);
    }
}

TEST(ImageJRegion, BeyondTheNumbersOfTheFormatIsRefused) {
    EXPECT_NO_THROW(ImageJRegion({"1", {{Square(59995.5, 0.5, 4.0), {}}}}));
    EXPECT_THROW(ImageJRegion({"1", {{Square(59999.5, 0.5, 4.0), {}}}}), qvox::ToolkitError);
}

TEST(ImageJRegionSet, HoldsAFileForEachRegionWhateverTheClock) {
    const korvane_test::TemporaryFolder folder;
    const std::vector<ImageRegion> regions{Traced(), SubPixel()};
    const std::string path = folder.File("a.zip");
    WriteRegions(wxString::FromUTF8(path), regions, RegionFormat::kImageJ);
    EXPECT_EQ(Contents(path), ImageJRegionSet(regions));
    zip_t* const archive = zip_open(path.c_str(), ZIP_RDONLY, nullptr);
    ASSERT_NE(archive, nullptr);
    EXPECT_EQ(zip_get_num_entries(archive, 0), 2);
    for (const ImageRegion& region : regions) {
        zip_stat_t status;
        ASSERT_EQ(zip_stat(archive, (region.name + ".roi").c_str(), 0, &status), 0);
        std::string bytes(status.size, '\0');
        zip_file_t* const file = zip_fopen_index(archive, status.index, 0);
        EXPECT_EQ(zip_fread(file, bytes.data(), bytes.size()), static_cast<zip_int64_t>(bytes.size()));
        zip_fclose(file);
        EXPECT_EQ(bytes, ImageJRegion(region));
    }
    zip_discard(archive);
}

TEST(ImageJRegionSet, WithoutRegionsIsAnArchiveStill) {
    const korvane_test::TemporaryFolder folder;
    WriteRegions(wxString::FromUTF8(folder.File("a.zip")), {}, RegionFormat::kImageJ);
    zip_t* const archive = zip_open(folder.File("a.zip").c_str(), ZIP_RDONLY | ZIP_CHECKCONS, nullptr);
    ASSERT_NE(archive, nullptr);
    EXPECT_EQ(zip_get_num_entries(archive, 0), 0);
    zip_discard(archive);
}

TEST(GeoJsonRegions, AreClosedRingsFromTheCornerOfTheFirstPixel) {
    const auto json = nlohmann::json::parse(GeoJsonRegions({Traced(), WithHole()}));
    EXPECT_EQ(json["type"], "FeatureCollection");
    ASSERT_EQ(json["features"].size(), 2u);
    const auto& first = json["features"][0];
    EXPECT_EQ(first["type"], "Feature");
    EXPECT_EQ(first["properties"]["name"], "7");
    EXPECT_EQ(first["geometry"]["type"], "Polygon");
    EXPECT_EQ(first["geometry"]["coordinates"], nlohmann::json::parse("[[[10,20],[14,20],[14,24],[10,24],[10,20]]]"));
    EXPECT_EQ(json["features"][1]["geometry"]["coordinates"].size(), 2u);
}

TEST(GeoJsonRegions, OfSeveralPartsAreOneAndRunTheSameWayRound) {
    ImageRegion parts = Traced();
    parts.polygons.push_back({{{0.0, 0.0}, {0.0, 1.0}, {1.0, 0.0}}, {}});  // against the rule
    const auto json = nlohmann::json::parse(GeoJsonRegions({parts}));
    const auto& geometry = json["features"][0]["geometry"];
    EXPECT_EQ(geometry["type"], "MultiPolygon");
    EXPECT_EQ(geometry["coordinates"][1], nlohmann::json::parse("[[[1.5,0.5],[0.5,1.5],[0.5,0.5],[1.5,0.5]]]"));
    EXPECT_TRUE(nlohmann::json::parse(GeoJsonRegions({}))["features"].empty());
}

}  // namespace

}  // namespace Korvane
