#include "ImageWarnings.h"

#include <gtest/gtest.h>

namespace Korvane {

namespace {

qvox::PixelResolution OfNm(double x, double y) {
    return {static_cast<float>(1000.0 / x), static_cast<float>(1000.0 / y), 0.0f};
}

TEST(PixelSizeWarning, BothEndsOfTheUsualRangeAreUsual) {
    for (const double nm : {0.05, 0.3, 1.488, 20.0}) EXPECT_EQ(PixelSizeWarning(OfNm(nm, nm)), "") << nm;
    for (const double nm : {0.0499, 20.01, 168.0}) EXPECT_NE(PixelSizeWarning(OfNm(nm, nm)), "") << nm;
    EXPECT_EQ(PixelSizeWarning(OfNm(25.0, 25.0)), "has 25 nm per pixel, outside 0.05 to 20 nm: the size may be wrong.");
    EXPECT_EQ(PixelSizeWarning({}), "") << "an undefined size is refused elsewhere";
}

TEST(PixelSizeWarning, AxesMayDifferByAPercent) {
    EXPECT_EQ(PixelSizeWarning(OfNm(2.0, 2.019)), "");
    EXPECT_EQ(PixelSizeWarning(OfNm(2.019, 2.0)), "");
    EXPECT_EQ(PixelSizeWarning(OfNm(2.0, 2.5)),
              "has 2 x 2.5 nm per pixel: width and height differ by 25.0 %, and the analysis goes by the width.");
    EXPECT_NE(PixelSizeWarning(OfNm(2.021, 2.0)), "");
    const wxString both = PixelSizeWarning(OfNm(2.0, 25.0));
    EXPECT_NE(both.find("outside 0.05 to 20 nm"), wxString::npos) << both;
    EXPECT_NE(both.find("differ by"), wxString::npos) << "one warning tells both";
}

TEST(ReplacedPixelSizeWarning, IsGivenWhereAnotherSizeIsStored) {
    const qvox::PixelResolution used = OfNm(2.0, 2.0);
    EXPECT_EQ(ReplacedPixelSizeWarning(OfNm(1.5, 1.5), "a note", used, "--pixel-size"),
              "stores 1.5 nm per pixel (a note); --pixel-size replaces it by 2 nm per pixel.");
    EXPECT_EQ(ReplacedPixelSizeWarning({}, "", used, "--pixel-size"), "");
    EXPECT_EQ(ReplacedPixelSizeWarning(OfNm(2.0000001, 2.0), "", used, "--pixel-size"), "");
    EXPECT_NE(ReplacedPixelSizeWarning(OfNm(2.0, 2.5), "", used, "--pixel-size"), "");
}

wxString OfWhole(std::uint64_t pixels, float xResolution, const AnalysisParameters& parameters) {
    return AreaLimitWarning(pixels, Extent::kWholeImage, xResolution, parameters);
}

TEST(AreaLimitWarning, IsGivenUpToTheLargestObjectOfDetection) {
    AnalysisParameters parameters;
    const float reference = 672.0f;
    const wxString one = "the whole image becomes one object, or none.";
    EXPECT_TRUE(OfWhole(50000, reference, parameters).EndsWith(one));
    EXPECT_FALSE(OfWhole(50001, reference, parameters).EndsWith(one));
    EXPECT_TRUE(OfWhole(100000, 2.0f * reference, parameters).EndsWith(one)) << "the limit follows the scale";
    EXPECT_FALSE(OfWhole(100001, 2.0f * reference, parameters).EndsWith(one));
    parameters.maxRelativeClusterSize = 0.5f;
    EXPECT_TRUE(OfWhole(25000, reference, parameters).EndsWith(one));
    EXPECT_FALSE(OfWhole(25001, reference, parameters).EndsWith(one));
    EXPECT_EQ(OfWhole(1, 0.0f, parameters), "") << "an undefined size is refused elsewhere";
}

TEST(AreaLimitWarning, IsGivenWhereTheBackgroundMayPassForAnObject) {
    const AnalysisParameters parameters;
    const float reference = 672.0f;
    EXPECT_EQ(OfWhole(50001, reference, parameters),
              "has 50001 pixels, few against the largest object of detection (50000): its background may pass for an "
              "object, and the objects in it are then lost. A smaller cluster size helps.");
    EXPECT_NE(OfWhole(74999, reference, parameters), "");
    EXPECT_EQ(OfWhole(75000, reference, parameters), "");
}

TEST(AreaLimitWarning, TellsThatOnlyAPartIsAnalysed) {
    const AnalysisParameters parameters;
    EXPECT_EQ(AreaLimitWarning(9000, Extent::kPart, 672.0f, parameters),
              "has 9000 pixels in the analysed part, no more than the largest object of detection (50000): the whole "
              "part becomes one object, or none.");
    EXPECT_TRUE(AreaLimitWarning(60000, Extent::kPart, 672.0f, parameters)
                    .StartsWith("has 60000 pixels in the analysed part, few against "));
}

TEST(GatheredWarnings, AreALineForEachImageUpToTwenty) {
    GatheredWarnings warnings;
    EXPECT_EQ(warnings.Text(), "");
    warnings.Add("/d/a.tif", "is odd.");
    warnings.Add("/d/b.tif", "");
    EXPECT_EQ(warnings.Text(), "'/d/a.tif' is odd.");
    wxString lines = warnings.Text();
    for (int i = 1; i < 20; ++i) {
        warnings.Add("/d/c.tif", "is odd too.");
        lines += "\n'/d/c.tif' is odd too.";
    }
    EXPECT_EQ(warnings.Text(), lines);
    warnings.Add("/d/d.tif", "is odd.");
    EXPECT_EQ(warnings.Text(), lines + "\nThe same goes for 1 more image.");
    warnings.Add("/d/d.tif", "is odd.");
    EXPECT_EQ(warnings.Text(), lines + "\nThe same goes for 2 more images.");
}

}  // namespace

}  // namespace Korvane
