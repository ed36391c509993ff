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

/// The data of the boxes in the report of one image with objects of these sizes.
std::string BoxesOf(const std::vector<double>& sizes) {
    const korvane_test::TemporaryFolder folder;
    ReportOptions options;
    options.folder = folder.Path().string();
    options.images = {"/d/a.tif"};
    ReportPartImage image;
    image.image.path = "/d/a.tif";
    image.image.name = "a.tif";
    image.image.leftOutBecause.clear();
    image.image.areaUm2 = 1.0;
    image.image.pixelSizeSource = "the file";
    for (const double size : sizes) image.image.counted.push_back({size, 0.9});
    image.image.objects = sizes.size();
    ReportBuilder builder(options);
    builder.AddKnown(0, image);
    builder.Write([](const wxString&) {});
    std::ifstream file(folder.Path() / "figures" / "boxes.dat");
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
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

}  // namespace
}  // namespace Korvane
