#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

/// An image with the labels 3, of 100 pixels from (40, 10) on, 8, two parts of 36 in all, and 700, of 384 around a
/// hole.
class Rois : public ::testing::Test {
protected:
    void SetUp() override {
        qvox::SaveImageFile(image_, Vesicles(1));
        qvox::LabelImage labels = TwoSquares();
        for (std::uint64_t y = 0; y < 20; ++y) {
            for (std::uint64_t x = 0; x < 20; ++x) labels(10 + x, 40 + y) = x / 4 == 2 && y / 4 == 2 ? 0 : 700;
        }
        for (std::uint64_t y = 0; y < 3; ++y) {
            for (std::uint64_t x = 0; x < 6; ++x) labels(60 + x, 40 + y) = labels(60 + x, 50 + y) = 8;
        }
        qvox::SaveImageFile(folder_.File("seg_a.tif"), labels);
    }
    ProgramResult Run(std::vector<std::string> options) const {
        options.insert(options.begin(), "rois");
        options.push_back(image_);
        return RunProgram(options);
    }
    /// True when the shell says that the command ended well.
    static bool Succeeds(const std::string& command) { return std::system(command.c_str()) == 0; }

    TemporaryFolder folder_;
    std::string image_ = folder_.File("a.tif");
    std::string archive_ = folder_.File("rois_a.zip");
    std::string json_ = folder_.File("rois_a.geojson");
};

TEST_F(Rois, AreWrittenBesideTheImageAndReplaceOlderOnes) {
    std::ofstream(archive_) << "old";
    const ProgramResult run = Run({});
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(Contents(archive_).substr(0, 4), "PK\3\4");
    EXPECT_FALSE(fs::exists(json_));
    ASSERT_EQ(Run({"--format", "geojson", "-o", folder_.File("out"), "--labels", folder_.Path().string()}).status, 0);
    const auto regions = nlohmann::json::parse(Contents(folder_.File("out/rois_a.geojson")));
    std::string names;
    for (const auto& region : regions["features"]) names += region["properties"]["name"].get<std::string>() + " ";
    EXPECT_EQ(names, "3 8 700 ");
}

TEST_F(Rois, OfRimsAreThoseThatWereFoundAndAWarningCountsTheOthers) {
    // Squares drawn at random have no edge in the image, and a plain image has none at all.
    qvox::VoxelImage<std::uint8_t> plain;
    plain.Resize(96, 80, 1);
    plain.Zero();
    qvox::SaveImageFile(image_, plain);
    const ProgramResult run = Run({"--outline", "rim", "--format", "geojson", "--pixel-size", "1.5"});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.messages.find("has 3 objects whose edge was not found: they are left out."), std::string::npos)
        << run.messages;
    EXPECT_TRUE(nlohmann::json::parse(Contents(json_))["features"].empty());
}

TEST_F(Rois, OfADiscFollowItsRim) {
    qvox::VoxelImage<std::uint8_t> disc;
    disc.Resize(96, 80, 1);
    qvox::LabelImage label;
    label.Resize(96, 80, 1);
    for (std::uint64_t y = 0; y < 80; ++y) {
        for (std::uint64_t x = 0; x < 96; ++x) {
            const double away = std::hypot(static_cast<double>(x) - 45.0, static_cast<double>(y) - 40.0);
            disc(x, y) = away < 20.0 ? 60 : 160;
            label(x, y) = away < 17.0 ? 5 : 0;
        }
    }
    label(90, 70) = 6;  // a pixel where the image is even
    qvox::SaveImageFile(image_, disc);
    qvox::SaveImageFile(folder_.File("seg_a.tif"), label);
    for (const char* outline : {"edge", "rim"}) {
        const ProgramResult run = Run({"--outline", outline, "--format", "geojson", "--pixel-size", "1.5"});
        ASSERT_EQ(run.status, 0);
        EXPECT_NE(run.messages.find("has 1 object whose edge was not found: it is left out."), std::string::npos)
            << run.messages;
        const auto regions = nlohmann::json::parse(Contents(json_));
        ASSERT_EQ(regions["features"].size(), 1u);
        for (const auto& point : regions["features"][0]["geometry"]["coordinates"][0]) {
            EXPECT_NEAR(std::hypot(point[0].get<double>() - 45.5, point[1].get<double>() - 40.5), 20.0, 0.5) << outline;
        }
    }
}

TEST_F(Rois, AreNotWrittenWithoutLabelsOrTwice) {
    fs::copy_file(image_, folder_.File("a.tiff"));
    fs::copy_file(folder_.File("seg_a.tif"), folder_.File("seg_a.tiff"));
    const ProgramResult twice = RunProgram({"rois", folder_.Path().string()});
    EXPECT_EQ(twice.status, 2);
    EXPECT_NE(twice.messages.find("would both be written to '" + archive_ + "'"), std::string::npos) << twice.messages;
    fs::remove(folder_.File("seg_a.tif"));
    EXPECT_EQ(Run({}).status, 1);
    EXPECT_FALSE(fs::exists(archive_));
    EXPECT_EQ(Run({"--format", "svg"}).status, 2);
    EXPECT_EQ(Run({"--outline", "none"}).status, 2);
}

TEST_F(Rois, AreReadByImageJWithTheirAreasAndPlaces) {
    const std::string jar = "/usr/share/java/ij.jar";
    if (!fs::exists(jar) || !Succeeds("command -v java xvfb-run >/dev/null")) GTEST_SKIP() << "no ImageJ";
    ASSERT_EQ(Run({}).status, 0);
    std::ofstream(folder_.File("m.ijm")) << "newImage('a', '8-bit black', 96, 80, 1);\n"
                                            "roiManager('Open', '" +
                                                archive_ +
                                                "');\n"
                                                "for (i = 0; i < roiManager('count'); i++) {\n"
                                                "    roiManager('select', i);\n"
                                                "    getStatistics(area);\n"
                                                "    getSelectionBounds(x, y, w, h);\n"
                                                "    print(Roi.getName, area, x, y, w, h);\n"
                                                "}\n"
                                                "run('Quit');\n";
    const std::string home = folder_.Path().string();
    ASSERT_TRUE(Succeeds("cd " + home + " && HOME=" + home + " timeout 120 xvfb-run -a java -Duser.home=" + home +
                         " -cp " + jar + " ij.ImageJ -batch m.ijm > said 2>errors"))
        << Contents(folder_.File("errors"));
    EXPECT_EQ(Contents(folder_.File("said")), "3 100 40 10 10 10\n8 36 60 40 6 13\n700 384 10 40 20 20\n");
}

TEST_F(Rois, AreValidForShapelyWithTheirAreas) {
    if (!Succeeds("/usr/bin/python3 -c 'import shapely' 2>/dev/null")) GTEST_SKIP() << "no python3-shapely";
    ASSERT_EQ(Run({"--format", "geojson"}).status, 0);
    std::ofstream(folder_.File("c.py")) << "import json\n"
                                           "from shapely.geometry import shape\n"
                                           "for feature in json.load(open('" +
                                               json_ +
                                               "'))['features']:\n"
                                               "    region = shape(feature['geometry'])\n"
                                               "    print(region.is_valid, region.area, region.bounds)\n";
    ASSERT_TRUE(Succeeds("/usr/bin/python3 " + folder_.File("c.py") + " > " + folder_.File("said")));
    EXPECT_EQ(Contents(folder_.File("said")),
              "True 100.0 (40.0, 10.0, 50.0, 20.0)\n"
              "True 36.0 (60.0, 40.0, 66.0, 53.0)\n"
              "True 384.0 (10.0, 40.0, 30.0, 60.0)\n");
}

}  // namespace

}  // namespace korvane_test
