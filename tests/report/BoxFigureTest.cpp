#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "ReportBuilder.h"
#include "ReportPart.h"
#include "support/TemporaryFolder.h"

namespace Korvane {
namespace {

ReportPartImage ImageOf(std::size_t place, const std::vector<double>& sizes) {
    ReportPartImage image;
    image.place = place;
    image.image.path = "/d/a.tif";
    image.image.name = "a.tif";
    image.image.leftOutBecause.clear();
    image.image.areaUm2 = 1.0;
    image.image.pixelSizeSource = "the file";
    for (const double size : sizes) image.image.counted.push_back({size, 0.9});
    image.image.objects = sizes.size();
    return image;
}

/// The boxes in the report of so many images with objects of these sizes: its data, or the script that draws it.
std::string BoxesOf(const std::vector<double>& sizes, std::size_t images = 1, const char* file = "boxes.dat") {
    const korvane_test::TemporaryFolder folder;
    ReportOptions options;
    options.folder = folder.Path().string();
    options.images = {images, [](std::size_t) { return wxString("/d/a.tif"); }};
    ReportBuilder builder(options);
    for (std::size_t i = 0; i < images; ++i) builder.AddKnown(i, ImageOf(i, sizes));
    builder.Write([](const wxString&) {});
    std::ifstream written(folder.Path() / "figures" / file);
    return {std::istreambuf_iterator<char>(written), std::istreambuf_iterator<char>()};
}

/// With a box in the first place.
std::string Boxes(const std::string& box, const std::string& points) {
    return "# place\twhisker_low_nm\tquarter_nm\tmedian_nm\tthree_quarters_nm\twhisker_high_nm\tname\n1\t" + box +
           "\n\n\n# place\tfar_size_nm\n" + points;
}

/// Drawn where nothing is seen, as a figure needs a point.
constexpr const char* kNoPoint = "-1\t-1\n";

// The quarters are 53 and 67 nm, so the whiskers end at the last sizes from 32 to 88 nm.
TEST(BoxFigure, SizesBeyondTheWhiskersArePoints) {
    EXPECT_EQ(BoxesOf({31.9, 32.0, 50, 52, 54, 56, 58, 60, 62, 64, 66, 68, 70, 88.0, 88.1}),
              Boxes("32\t53\t60\t67\t88\t\"/d/a.tif, n = 15\"", std::string("1\t31.9\n1\t88.1\n") + kNoPoint));
}

TEST(BoxFigure, SizesWithinTheWhiskersAreNoPoints) {
    EXPECT_EQ(BoxesOf({50, 52, 54, 56, 58, 60, 62, 64, 66, 68, 70}),
              Boxes("50\t55\t60\t65\t70\t\"/d/a.tif, n = 11\"", kNoPoint));
}

TEST(OrderFigure, SaysHowManyImagesStandTogether) {
    const auto script = [](std::size_t images) { return BoxesOf({50, 60}, images, "order.gnuplot"); };
    EXPECT_NE(script(3).find("'median of an image (line: middle half)'"), std::string::npos) << script(3);
    EXPECT_NE(script(1500).find("'median of 2 images that follow one another (line: middle half)'"), std::string::npos);
}

TEST(BoxFigure, EachOfUpToTwentyImagesHasItsNumberOnTheAxis) {
    const auto script = [](std::size_t images) { return BoxesOf({50, 60}, images, "boxes.gnuplot"); };
    EXPECT_NE(script(20).find("set xrange [0.4:20.6]\nset xtics 1\n"), std::string::npos) << script(20);
    EXPECT_NE(script(21).find("set xrange [0.4:21.6]\n"), std::string::npos);
    EXPECT_EQ(script(21).find("set xtics 1\n"), std::string::npos);
}

}  // namespace
}  // namespace Korvane
